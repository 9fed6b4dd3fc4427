#pragma once

#include "tests/harness/desktop/Desk.h"
#include "tests/harness/desktop/TargetApp.h"
#include "tests/harness/desktop/Waiting.h"

#include <QTest>

#include <algorithm>

namespace murlo {

/// The desk of one test, with the model that CMake names, and the program unless another is given.
class TestDesk : public Desk {
public:
    explicit TestDesk(const QString& program = MURLO_PROGRAM)
        : Desk(program, MURLO_MODEL) {}
    /// Fails the test for every trouble in Murlo's log that was not expected.
    ~TestDesk() {
        target.reset();
        murlo.quit();
        for (const QString& line : murlo.troubles()) {
            if (std::ranges::none_of(m_expected, [&](auto& words) { return line.contains(words); }))
                QTest::qFail(qPrintable("in Murlo's log: " + line), __FILE__, __LINE__);
        }
    }

    /// A line of Murlo's log that has these words is no reason to fail.
    void expectTrouble(const QString& words) { m_expected.append(words); }

    /// Starts Murlo, and then the program that is dictated into.
    [[nodiscard]] bool startWith(TargetApp::Kind kind, const QJsonObject& settings = {}) {
        target = std::make_unique<TargetApp>(kind);
        return startMurlo(settings) && target->start();
    }
    /// Dictates; whether the target's box holds `all` then, which is what was said if nothing else.
    [[nodiscard]] bool lands(const QString& text, const QString& all = {}) {
        return dictate(text) && delivered() && holds(all.isEmpty() ? text : all);
    }
    /// Waits until the target's box holds exactly `text`.
    [[nodiscard]] bool holds(const QString& text) const {
        const bool held = waitFor([&] { return target->text() == text; }, 10000, 20);
        if (!held) qWarning("the box holds: %s", qPrintable(target->text().value_or("nothing")));
        return held;
    }

    /// Starts the desktop's sound server, stops it, plugs its microphone in or unplugs it.
    [[nodiscard]] static bool soundServer(const QString& action) {
        if (action != "start") return QProcess::execute(MURLO_SOUND_SERVER, {action}) == 0;
        return QProcess::startDetached(MURLO_SOUND_SERVER, {action}) &&
               waitFor([] { return QProcess::execute("pactl", {"info"}) == 0; });
    }

    std::unique_ptr<TargetApp> target;

private:
    /// The engine says so of every preview that the recording's end has cut off.
    QStringList m_expected{"whisper_full_with_state: failed to encode",
                           "whisper_full_with_state: failed to decode"};
};

} // namespace murlo
