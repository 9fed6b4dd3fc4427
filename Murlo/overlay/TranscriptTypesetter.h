#pragma once

#include "MurloKit/TranscriptAccumulator.h"

#include <QFont>
#include <QHash>
#include <QList>

namespace murlo {

/// Where a word of the live transcript stands.
struct PlacedWord {
    QString id;
    QString text;
    double x = 0; ///< left edge within its line, in points
    int line = 0; ///< from 0

    friend bool operator==(const PlacedWord&, const PlacedWord&) = default;
};

/// Breaks the words of the live transcript into lines. Main thread, with a Qt GUI application.
namespace TranscriptTypesetter {

/// Points between two words.
constexpr double wordGap = 4;

/// The font that words are measured and drawn in: 15 points, medium, kerning 0.1.
[[nodiscard]] const QFont& attributes();

/// Widths of the words measured so far, in whole points; it lives as long as the process.
[[nodiscard]] QHash<QString, double>& widthCache();

/// A word's width in whole points.
[[nodiscard]] double width(const QString& word);

/// Places the words one after another on lines of `width` points. A word that is wider than that
/// has a line of its own.
[[nodiscard]] QList<PlacedWord> layout(const QList<TranscriptWord>& words, double width);

} // namespace TranscriptTypesetter
} // namespace murlo
