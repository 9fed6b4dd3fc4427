#pragma once

#include <cstddef>

/// How much is asked of other programs at the most, in objects, levels and time: a question takes a
/// program some hundredth of a millisecond, and some have a million objects.
namespace murlo::budget {

// One answer.
/// Milliseconds that a program has for it, counted from its last one: a hung one costs no more.
constexpr int answerMilliseconds = 400;
/// Children that an object is asked for. They are made one by one for the answer.
constexpr int children = 2000;
/// The same for what has a row or a picture for each.
constexpr int rows = 250;
/// Children of an object that is not to be searched through. A browser looks at some 40 objects in
/// a millisecond; a row has several.
constexpr int searchedChildren = 1000;
/// Children that answers at one time may bring.
constexpr int childrenTogether = 1000;

// Looking for the focus in a window: a few hundred milliseconds of its program's time.
constexpr int focusObjects = 1500;
constexpr int focusLevels = 60;
constexpr double focusSeconds = 1.0;
/// Levels from an object up to its window; deeper trees than this are broken ones.
constexpr int levelsToWindow = 100;

// Reading the text boxes of an application.
constexpr std::size_t topLevels = 60;  ///< windows of one program, shown or not
constexpr int windowObjects = 14000;   ///< of one window
constexpr int windowLevels = 59;       ///< below the window
constexpr int walkMilliseconds = 2000; ///< after which nobody goes further
/// Objects that are looked at before a window is searched: a page with a table of many thousand
/// rows keeps its browser busy for ten seconds when the search comes to it.
constexpr int scoutObjects = 400;
/// For the search through a window. It comes after the program has answered the first questions, so
/// it does not hang; but the first search makes it build objects for all that the window holds.
constexpr int searchMilliseconds = 1500;
/// Objects that one search may find; among those of a text in which each paragraph is one are
/// others that matter.
constexpr int searchHits = 1000;
// A text box inside a button or a picture is near to it; farther out there are only containers.
constexpr int levelsAroundHit = 10;
constexpr std::size_t objectsAroundHits = 600;
/// Questions in flight to all windows together: as many answers may wait when the main thread gets
/// to them, and it is to be through with them in a few milliseconds.
constexpr std::size_t questionsTogether = 160;

} // namespace murlo::budget
