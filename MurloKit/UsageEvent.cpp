#include "MurloKit/UsageEvent.h"

#include "MurloKit/Dates.h"

namespace murlo {

UsageEvent UsageEvent::dictation(double durationS, int wordCount,
                                 const std::optional<QString>& targetApp, const QString& appVersion,
                                 const QDateTime& now) {
    UsageEvent event;
    event.id = QUuid::createUuid();
    event.clientTs = now;
    event.durationS = durationS;
    event.wordCount = wordCount;
    event.targetApp = targetApp;
    event.appVersion = appVersion;
    return event;
}

QJsonObject UsageEvent::toJson() const {
    QJsonObject object{{QStringLiteral("id"), uuidText(id)},
                       {QStringLiteral("type"), type},
                       {QStringLiteral("clientTs"), isoSeconds(clientTs)},
                       {QStringLiteral("durationS"), durationS},
                       {QStringLiteral("wordCount"), wordCount},
                       {QStringLiteral("appVersion"), appVersion}};
    if (targetApp) object.insert(QStringLiteral("targetApp"), *targetApp);
    return object;
}

} // namespace murlo
