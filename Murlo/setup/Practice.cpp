#include "setup/Practice.h"

namespace murlo {

int Practice::step() const {
    if (!text.isEmpty()) return 3;
    if (kind == pick ? picked : started) return 2;
    return (kind == pick ? summoned : clicked) ? 1 : 0;
}

Message Practice::instruction(const SetupReadiness& readiness, DictationState::Case state,
                              const QString& trigger) const {
    if (!readiness.canPractice()) return readiness.waitingMessage();
    if (kind == dictation) {
        if (step() == 1) return {Word::tapAndTalk, {trigger}};
        if (step() == 0) return Word::clickTheBox;
    } else if (step() == 1) {
        return pickedElsewhere ? Message(Word::otherAppsLetter, {trigger})
                               : Message(Word::pressLetterBelow);
    }
    switch (state) {
    case DictationState::listening:
        return kind == pick ? Message(Word::talkThenTap) : Message(Word::tapToStop, {trigger});
    case DictationState::transcribing:
        return Word::oneMoment;
    default:
        return {Word::nothingLanded, {trigger}};
    }
}

} // namespace murlo
