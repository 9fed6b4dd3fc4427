#pragma once

#include "look/Symbols.h"

#include <QColor>
#include <QList>
#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QString>

namespace murlo {

/// The fonts of the recording card.
enum class CardFont { words, status, clock };

/// A piece of text on one line.
struct CardText {
    QString text;
    QPointF baseline; ///< left end of its baseline
    CardFont font = CardFont::status;
    QColor color;
    double opacity = 1;
    double scale = 1; ///< about the left end of its bottom edge
    double blur = 0;  ///< radius in points

    friend bool operator==(const CardText&, const CardText&) = default;
};

/// A symbol with its place and look.
struct CardSymbol {
    Symbol symbol = Symbol::check;
    QRectF square;
    QColor color;
    double opacity = 1;
    double phase = 0; ///< of a symbol that moves: 0…1, the part of its cycle

    friend bool operator==(const CardSymbol&, const CardSymbol&) = default;
};

/// A filled shape: a bar of the waveform, the disc of the badge.
struct CardFill {
    QRectF rect;
    double radius = 0;
    QColor color;

    friend bool operator==(const CardFill&, const CardFill&) = default;
};

/// One state's content of the status row; positions are relative to the row's top left.
struct CardRow {
    QSizeF size;
    QList<CardFill> fills;
    QList<CardSymbol> symbols;
    QList<CardText> texts;

    friend bool operator==(const CardRow&, const CardRow&) = default;
};

/// A status row in its place.
struct PlacedRow {
    CardRow row;
    QPointF origin;
    double opacity = 1;

    friend bool operator==(const PlacedRow&, const PlacedRow&) = default;
};

/// All that the recording card shows at one moment, in points from the panel's top left.
struct CardRecord {
    double opacity = 0; ///< of everything
    double scale = 1;   ///< of everything, about the middle of the card's bottom edge
    double lift = 0;    ///< everything is this much lower than it will stand
    QRectF card;
    double radius = 0;
    QList<PlacedRow> rows; ///< one, or two while one replaces the other

    QRectF transcript; ///< words are clipped to it
    double fade = 0;   ///< height at its top over which words fade in
    QList<CardText> words;

    friend bool operator==(const CardRecord&, const CardRecord&) = default;
};

} // namespace murlo
