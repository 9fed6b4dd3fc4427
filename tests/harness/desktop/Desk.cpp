#include "tests/harness/desktop/Desk.h"

#include "tests/harness/desktop/Waiting.h"

namespace murlo {

namespace {

// Of a person's taps: how long a key is down, and the gap to the next, in milliseconds.
constexpr int pressed = 60;
constexpr int gap = 90;
// Between the sound of readiness and the first word, and after the last one.
constexpr int breath = 250;

/// Where a letter is on a keyboard, as XKB names the place ("AC01" for A).
QByteArray keyOf(QChar letter) {
    for (const auto& [row, letters] : {std::pair("AD", "QWERTYUIOP"), std::pair("AC", "ASDFGHJKL"),
                                       std::pair("AB", "ZXCVBNM")}) {
        const qsizetype at = QString::fromLatin1(letters).indexOf(letter);
        if (at >= 0) return row + QByteArray::number(at + 1).rightJustified(2, '0');
    }
    return {};
}

} // namespace

void Desk::press(const QByteArray& key, bool down) {
    if (!keyboard.isThere())
        keyboard.pressFromProgram(key, down);
    else if (down)
        keyboard.press(key);
    else
        keyboard.release(key);
}

void Desk::type(const QString& letters) {
    for (const QChar letter : letters) {
        press(keyOf(letter));
        letPass(pressed);
        press(keyOf(letter), false);
        letPass(gap);
    }
}

void Desk::doubleTap(bool hold, const QByteArray& key) {
    press(key);
    letPass(pressed);
    press(key, false);
    letPass(gap);
    m_tappedAt = MurloProcess::now();
    press(key);
    if (hold) return;
    letPass(pressed);
    press(key, false);
}

bool Desk::showLetters() {
    murlo.forgetLog();
    doubleTap(false, pickKey);
    return murlo.awaitLog(QStringLiteral("scan: "));
}

bool Desk::begin(bool hold) {
    murlo.forgetLog();
    doubleTap(hold);
    return murlo.awaitLog(QStringLiteral("dictation: listening"));
}

bool Desk::speak(const QString& text) {
    const QString file = home.filePath(QStringLiteral("speech.wav"));
    return Speaker::synthesize(text, file) && startPlaying(file) && finishPlaying();
}

bool Desk::startPlaying(const QString& file) {
    letPass(breath);
    return speaker.play(file);
}

bool Desk::finishPlaying() {
    const bool played = speaker.finish();
    letPass(breath);
    return played;
}

bool Desk::dictate(const QString& text, bool hold) {
    const bool done = begin(hold) && speak(text);
    end(hold);
    return done;
}

} // namespace murlo
