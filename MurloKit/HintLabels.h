#pragma once

#include <QStringList>

namespace murlo {

/// The letters of labels, in the order in which they are given: the home row first.
namespace HintAlphabet {
inline constexpr char letters[] = "asdfghjklqwertyuiopzxcvbnm";
inline constexpr int size = 26;
} // namespace HintAlphabet

/// Maximum number of labelled boxes; further ones get no label.
inline constexpr int mostHints = 702;

/// `count` labels (at most `mostHints`) in upper case, none the beginning of another, so that every
/// one can be typed to its end. Single letters as long as they suffice; of more, the last letters
/// become the beginnings of longer labels, so the first boxes in reading order keep the shortest.
[[nodiscard]] QStringList hintLabels(qsizetype count);

} // namespace murlo
