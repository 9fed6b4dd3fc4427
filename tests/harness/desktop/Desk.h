#pragma once

#include "tests/harness/desktop/MurloProcess.h"
#include "tests/harness/desktop/PhysicalKeyboard.h"
#include "tests/harness/desktop/Speaker.h"

#include <QJsonObject>
#include <QString>
#include <QTemporaryDir>

namespace murlo {

/// Somebody at a desk: Murlo in a new home, a keyboard, a voice. Main thread.
class Desk {
public:
    static constexpr auto dictateKey = "LFSH";
    static constexpr auto pickKey = "RTSH";

    /// `program` is Murlo's executable, `model` a speech model.
    Desk(const QString& program, QString model)
        : murlo(program, home.path())
        , m_model(std::move(model)) {}

    /// Seeds the home (`settings` on top of a set-up user's) and starts Murlo; false when it did
    /// not become ready.
    [[nodiscard]] bool startMurlo(const QJsonObject& settings = {}) {
        return murlo.seed(m_model, settings) && murlo.start() && murlo.awaitReady();
    }

    /// The same with a stranger's home: no account.
    [[nodiscard]] bool startMurloSignedOut(QJsonObject settings = {}) {
        settings.insert(QStringLiteral("accountEmail"), QString());
        return murlo.seed(m_model, settings) && murlo.start() && murlo.awaitEngine();
    }

    /// Presses a key or lets go of it; on a display without a keyboard of its own, as an on-screen
    /// one does.
    void press(const QByteArray& key, bool down = true);
    /// Presses one key after the other for as long as a person does.
    void type(const QString& letters);
    /// Double-taps a trigger key; the second press stays down if `hold` is set.
    void doubleTap(bool hold = false, const QByteArray& key = dictateKey);
    /// When the second press of the last double tap came, by the clock of Murlo's log.
    [[nodiscard]] int tappedAt() const { return m_tappedAt; }

    /// Double-taps and waits until letters are on the boxes; false when they do not come.
    [[nodiscard]] bool showLetters();
    /// Double-taps and waits until Murlo listens; false when it does not.
    [[nodiscard]] bool begin(bool hold = false);
    /// Ends what `begin` has begun.
    void end(bool hold = false) { hold ? press(dictateKey, false) : doubleTap(); }
    /// Speaks a text to its end; false when that failed.
    [[nodiscard]] bool speak(const QString& text);
    /// Starts to play a recording, after a breath.
    [[nodiscard]] bool startPlaying(const QString& file);
    /// Waits for its end and a breath more; false when it was not played.
    [[nodiscard]] bool finishPlaying();
    /// A whole dictation, until the trigger that ends it; false when Murlo does not listen.
    [[nodiscard]] bool dictate(const QString& text, bool hold = false);
    /// Waits until Murlo has delivered something since the last `begin`.
    [[nodiscard]] bool delivered(int milliseconds = 60000) const {
        return murlo.awaitLog(QStringLiteral(" chars in "), milliseconds);
    }

    QTemporaryDir home;
    MurloProcess murlo;
    PhysicalKeyboard keyboard;
    Speaker speaker;

private:
    QString m_model;
    int m_tappedAt = 0;
};

} // namespace murlo
