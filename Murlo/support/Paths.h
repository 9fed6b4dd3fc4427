#pragma once

#include <QString>

namespace murlo {

/// Where Murlo keeps its files. Tests make one for a folder of their own.
class Paths {
public:
    /// `support` is the support folder's path without a trailing slash.
    explicit Paths(QString support)
        : m_support(std::move(support)) {}

    /// The support folder of the current user: ".brisvane" in the home folder.
    [[nodiscard]] static Paths ofUser();

    [[nodiscard]] const QString& support() const { return m_support; }
    [[nodiscard]] QString models() const { return m_support + QStringLiteral("/models"); }
    [[nodiscard]] QString file(const QString& name) const {
        return m_support + QLatin1Char('/') + name;
    }

    /// Creates the support folder and its parents if missing and makes it readable by its owner
    /// alone; false when that could not be done.
    bool prepare() const; // NOLINT(modernize-use-nodiscard): callers that only log may ignore it

private:
    QString m_support;
};

} // namespace murlo
