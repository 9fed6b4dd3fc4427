#pragma once

#include "MurloKit/Motion.h"

#include <QSize>

/// Sizes and motions of the recording card, in points and seconds.
namespace murlo::CardMetrics {

constexpr QSize panelSize(480, 200); ///< of the surface, the card's room to move included
constexpr double panelWidth = panelSize.width();
constexpr double panelHeight = panelSize.height();
constexpr int aboveScreenBottom = 74; ///< from the panel's bottom edge

constexpr double shadowBelow = 14; ///< between the card's bottom edge and the panel's
constexpr double shadowAbove = 8;
constexpr double radius = 23;
constexpr double paddingAcross = 18;
constexpr double paddingAlong = 12;
constexpr double rowHeight = 24;
constexpr double rowGap = 8;

constexpr double contentWidth = 380;
constexpr double lineHeight = 24;        ///< of the transcript
constexpr double oneLine = 24;           ///< height of the transcript
constexpr double twoLines = 58;          ///< height of the transcript
constexpr double fadeHeight = 10;        ///< of its mask
constexpr double fadeOverlap = 8;        ///< of the second line's headroom into the padding
constexpr double transcriptGap = 6;      ///< between transcript and status row
constexpr double wordBaseline = 17;      ///< below the top of its line
constexpr double messageLineHeight = 18; ///< of a failure's message
constexpr double messageWidth = 352;

constexpr double badge = 21;
constexpr double symbol = 18;
constexpr double barWidth = 2.5;
constexpr double barGap = 2.5;
constexpr double minBar = 3;
constexpr double maxBar = 20;

constexpr double arrivalBlur = 5;
constexpr double arrivalScale = 0.93;
constexpr double entryScale = 0.96;
constexpr double entryLift = 10;

constexpr double progressTurn = 0.9; ///< seconds
constexpr double wandTwinkle = 1.6;  ///< seconds
constexpr double frameInterval = 1.0 / 60;
/// Between frames in which nothing but the waveform or a small symbol moves. Each frame costs the
/// engine something, too, where a compositor draws on the same processor.
constexpr double meterInterval = 1.0 / 25;

/// How things move, and how they do for who asked for less motion.
struct Motions {
    Motion state; ///< the card's changes of state, its coming and going, heights
    Motion words; ///< changes of the word list
    Motion bars;  ///< the waveform
    bool reduced = false;
};

constexpr Motions lively{
    {Motion::spring, 0.34, 1.0}, {Motion::spring, 0.38, 0.9}, {Motion::spring, 0.16, 1.0}, false};
constexpr Motions reduced{
    {Motion::easeOut, 0.16, 1.0}, {Motion::easeOut, 0.15, 1.0}, {Motion::linear, 0.12, 1.0}, true};

} // namespace murlo::CardMetrics
