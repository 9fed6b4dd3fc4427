#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>

namespace murlo {

/// What the backend tells about the newest release.
struct ReleaseInfo {
    QString latest;  ///< version of the newest release
    QString minimum; ///< oldest version that may go on without updating; any text
    QString url;     ///< where the newest release can be had
    QString notes;   ///< may be empty

    /// All four members are needed as strings; others are ignored.
    [[nodiscard]] static std::optional<ReleaseInfo> fromJson(const QJsonObject& object);
    [[nodiscard]] QJsonObject toJson() const;
    friend bool operator==(const ReleaseInfo&, const ReleaseInfo&) = default;
};

/// What a user is to be told about releases.
struct UpdateState {
    enum Case {
        available, ///< there is a newer one, which may wait
        required,  ///< the running version is below the minimum
        none
    };

    Case state = none;
    ReleaseInfo release; ///< unless `none`

    /// Compares the running version with the record. A version that is none of ours (`current`,
    /// `latest`) yields `none`; a minimum above the newest release counts as that release.
    /// `dismissedVersion` hides the one offer whose `latest` is that text, but nothing `required`.
    [[nodiscard]] static UpdateState evaluate(const QString& current, const ReleaseInfo& release,
                                              const std::optional<QString>& dismissedVersion);
    friend bool operator==(const UpdateState&, const UpdateState&) = default;
};

} // namespace murlo
