#pragma once

#include "tests/harness/desktop/MurloProcess.h"
#include "tests/harness/desktop/PhysicalKeyboard.h"
#include "tests/harness/desktop/Speaker.h"
#include "tests/harness/desktop/TargetApp.h"

#include <QJsonObject>
#include <QString>
#include <QTemporaryDir>

namespace murlo {

/// Somebody at a desk of a virtual desktop: Murlo in a new home, a keyboard, a voice. Main thread.
class Desk {
public:
    /// `program` is Murlo's executable, `model` a speech model.
    Desk(const QString& program, QString model);
    /// Fails the test for every trouble in Murlo's log that was not expected.
    ~Desk();

    /// A line of Murlo's log that has these words is no reason to fail.
    void expectTrouble(const QString& words) { m_expected.append(words); }

    /// Seeds the home (`settings` on top of a set-up user's) and starts Murlo; false when it did
    /// not become ready.
    [[nodiscard]] bool startMurlo(const QJsonObject& settings = {});

    /// Double-taps a trigger key; the second press stays down if `hold` is set.
    void doubleTap(bool hold = false, const QByteArray& key = "LFSH");
    /// Double-taps Right Shift and waits until letters are on the boxes; false when they do not
    /// come.
    [[nodiscard]] bool showLetters();
    /// Lets go of a held trigger.
    void letGo() { keyboard.release("LFSH"); }
    /// Double-taps and waits until Murlo listens; false when it does not.
    [[nodiscard]] bool begin(bool hold = false);
    /// Speaks a text to its end; false when that failed.
    [[nodiscard]] bool speak(const QString& text);
    /// Starts to speak and returns at once.
    [[nodiscard]] bool startSpeaking(const QString& text);
    /// A whole dictation, until the trigger that ends it; false when Murlo does not listen.
    [[nodiscard]] bool dictate(const QString& text, bool hold = false);
    /// Waits until Murlo has delivered something since the last `begin`.
    [[nodiscard]] bool delivered(int milliseconds = 60000) const;
    /// Waits until the program's box holds exactly `text`.
    [[nodiscard]] static bool holds(const TargetApp& app, const QString& text);

    QTemporaryDir home;
    MurloProcess murlo;
    PhysicalKeyboard keyboard;
    Speaker speaker;

private:
    QString m_model;
    /// The engine says so of every preview that the recording's end has cut off.
    QStringList m_expected{QStringLiteral("whisper_full_with_state: failed to encode")};
};

} // namespace murlo
