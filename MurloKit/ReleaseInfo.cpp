#include "MurloKit/ReleaseInfo.h"

#include "MurloKit/SemanticVersion.h"

#include <algorithm>

namespace murlo {

namespace {

struct Field {
    QString name;
    QString ReleaseInfo::*value;
};

const QList<Field>& fields() {
    static const QList<Field> all{{QStringLiteral("latest"), &ReleaseInfo::latest},
                                  {QStringLiteral("minimum"), &ReleaseInfo::minimum},
                                  {QStringLiteral("url"), &ReleaseInfo::url},
                                  {QStringLiteral("notes"), &ReleaseInfo::notes}};
    return all;
}

} // namespace

std::optional<ReleaseInfo> ReleaseInfo::fromJson(const QJsonObject& object) {
    ReleaseInfo release;
    for (const auto& [name, value] : fields()) {
        if (!object.value(name).isString()) return std::nullopt;
        release.*value = object.value(name).toString();
    }
    return release;
}

QJsonObject ReleaseInfo::toJson() const {
    QJsonObject object;
    for (const auto& [name, value] : fields()) object.insert(name, this->*value);
    return object;
}

UpdateState UpdateState::evaluate(const QString& current, const ReleaseInfo& release,
                                  const std::optional<QString>& dismissedVersion) {
    const auto running = SemanticVersion::parse(current);
    const auto latest = SemanticVersion::parse(release.latest);
    if (!running || !latest) return {};
    const auto minimum = SemanticVersion::parse(release.minimum);
    if (minimum && *running < std::min(*minimum, *latest)) return {required, release};
    if (*running < *latest && dismissedVersion != release.latest) return {available, release};
    return {};
}

} // namespace murlo
