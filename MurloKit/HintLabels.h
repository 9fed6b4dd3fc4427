#pragma once

#include <QStringList>

namespace murlo {

/// The letters of labels, in the order in which they are given: the home row first.
namespace HintAlphabet {
inline constexpr char letters[] = "asdfghjklqwertyuiopzxcvbnm";
inline constexpr int size = 26;
} // namespace HintAlphabet

/// The most boxes that are labelled; those read later go without.
inline constexpr int mostHints = 702;

/// `count` labels (at most `mostHints`) in upper case, none the beginning of another, so that every
/// one can be typed to its end. Single letters as long as they suffice; of more, the last letters
/// become the beginnings of longer labels, so what is read first keeps the shortest.
[[nodiscard]] QStringList hintLabels(qsizetype count);

} // namespace murlo
