#include "tests/harness/desktop/Desk.h"

#include "tests/harness/desktop/Waiting.h"

#include <QTest>

#include <algorithm>

namespace murlo {

namespace {
// A person's double tap: each press and the gap between them, in milliseconds.
constexpr int pressed = 60;
constexpr int gap = 90;
// Between the sound of readiness and the first word, and after the last one.
constexpr int breath = 250;
} // namespace

Desk::Desk(const QString& program, QString model)
    : murlo(program, home.path())
    , m_model(std::move(model)) {}

Desk::~Desk() {
    murlo.quit();
    for (const QString& line : murlo.troubles()) {
        const bool expected = std::ranges::any_of(
            m_expected, [&](const QString& words) { return line.contains(words); });
        if (!expected)
            QTest::qFail(qPrintable(QStringLiteral("in Murlo's log: ") + line), __FILE__, __LINE__);
    }
}

bool Desk::startMurlo(const QJsonObject& settings) {
    return murlo.seed(m_model, settings) && murlo.start() && murlo.awaitReady();
}

void Desk::doubleTap(bool hold, const QByteArray& key) {
    keyboard.press(key);
    letPass(pressed);
    keyboard.release(key);
    letPass(gap);
    keyboard.press(key);
    if (hold) return;
    letPass(pressed);
    keyboard.release(key);
}

bool Desk::showLetters() {
    murlo.forgetLog();
    doubleTap(false, "RTSH");
    return murlo.awaitLog(QStringLiteral("scan: "));
}

bool Desk::begin(bool hold) {
    murlo.forgetLog();
    doubleTap(hold);
    return murlo.awaitLog(QStringLiteral("dictation: listening"));
}

bool Desk::startSpeaking(const QString& text) {
    const QString file = home.filePath(QStringLiteral("speech.wav"));
    return Speaker::synthesize(text, file).has_value() && speaker.play(file);
}

bool Desk::speak(const QString& text) {
    letPass(breath);
    const bool spoken = startSpeaking(text) && speaker.finish();
    letPass(breath);
    return spoken;
}

bool Desk::dictate(const QString& text, bool hold) {
    const bool done = begin(hold) && speak(text);
    if (hold)
        letGo();
    else
        doubleTap();
    return done;
}

bool Desk::delivered(int milliseconds) const {
    return murlo.awaitLog(QStringLiteral(" chars in "), milliseconds);
}

bool Desk::holds(const TargetApp& app, const QString& text) {
    const bool held = waitFor([&] { return app.text() == text; }, 10000, 20);
    if (!held) qWarning("the box holds: %s", qUtf8Printable(app.text().value_or(QString())));
    return held;
}

} // namespace murlo
