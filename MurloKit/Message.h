#pragma once

#include "MurloKit/Word.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace murlo {

/// A message to the user as a language-independent value: sentences, each with its arguments. Only
/// presenters turn it into text; it is never sent in a report.
struct Message {
    struct Sentence {
        Word word = Word::asReported;
        QStringList arguments;

        friend bool operator==(const Sentence&, const Sentence&) = default;
    };

    Message() = default;
    Message(Word word, const QStringList& arguments = {})
        : sentences{{word, arguments}} {}

    [[nodiscard]] bool isEmpty() const { return sentences.isEmpty(); }

    QList<Sentence> sentences;

    /// Both messages, one after the other.
    friend Message operator+(Message first, const Message& second) {
        first.sentences += second.sentences;
        return first;
    }
    friend bool operator==(const Message&, const Message&) = default;
};

} // namespace murlo
