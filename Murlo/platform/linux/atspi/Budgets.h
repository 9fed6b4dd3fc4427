#pragma once

#include <cstddef>

/// Upper limits for what is requested from other programs, in objects, levels and time: a call
/// costs a program about 0.01 ms, and some programs have a million objects.
namespace murlo::budget {

// One answer.
/// Timeout in milliseconds, counted from the program's previous answer; a hung program costs no
/// more.
constexpr int answerMilliseconds = 400;
/// Most children of an object that are requested. The program creates each of them for the answer.
constexpr int children = 2000;
/// The same for containers with a row or an icon per child.
constexpr int rows = 250;
/// Most children of an object in a window that is searched. A browser visits some 40 objects per
/// millisecond; a row has several.
constexpr int searchedChildren = 1000;
/// Most children in all answers in flight together.
constexpr int childrenTogether = 1000;

// Looking for the focus in a window: a few hundred milliseconds of its program's time.
constexpr int focusObjects = 1500;
constexpr int focusLevels = 60;
constexpr double focusSeconds = 1.0;
/// Levels from an object up to its window; a deeper tree is broken.
constexpr int levelsToWindow = 100;

// Reading the text boxes of an application.
constexpr std::size_t topLevels = 60;  ///< windows of one program, shown or not
constexpr int windowObjects = 14000;   ///< of one window
constexpr int windowLevels = 59;       ///< below the window
constexpr int walkMilliseconds = 2000; ///< after which no further level is read
/// Objects that are read before a window is searched: a table of many thousand rows keeps its
/// browser busy for ten seconds when the search reaches it.
constexpr int scoutObjects = 400;
/// Timeout for the search of a window. The program has answered calls by then, so it does not hang;
/// but the first search makes it create objects for everything in the window.
constexpr int searchMilliseconds = 1500;
/// Objects that one search may find; many, because each paragraph of a text may be one and must not
/// crowd out the others.
constexpr int searchHits = 1000;
// Levels above a hit to check for a button or a picture around it; farther out there are only
// containers.
constexpr int levelsAroundHit = 10;
constexpr std::size_t objectsAroundHits = 600;
/// Calls in flight to all windows together: that many replies may be queued at once, and the main
/// thread must process them within a few milliseconds.
constexpr std::size_t questionsTogether = 160;

} // namespace murlo::budget
