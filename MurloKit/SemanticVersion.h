#pragma once

#include <QList>
#include <QString>

#include <compare>
#include <optional>

namespace murlo {

/// A version of dotted non-negative integers, without pre-release or build syntax. Missing parts
/// count as 0: "1.2" equals "1.2.0".
struct SemanticVersion {
    QList<qint64> components; ///< at least one

    /// Reads "1.10.2"; blanks and tabs around it and a "+" before a part are taken. Nothing for
    /// anything else, such as "1..2", "1.2-beta" or a part above 2^63 - 1.
    [[nodiscard]] static std::optional<SemanticVersion> parse(const QString& text);
    /// The parts in decimal, joined by dots.
    [[nodiscard]] QString description() const;

    friend std::weak_ordering operator<=>(const SemanticVersion& a, const SemanticVersion& b);
    friend bool operator==(const SemanticVersion& a, const SemanticVersion& b) {
        return std::is_eq(a <=> b);
    }
};

} // namespace murlo
