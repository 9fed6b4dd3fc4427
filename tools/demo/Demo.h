#pragma once

#include "tests/harness/desktop/BrowserSignIn.h"
#include "tests/harness/desktop/Desk.h"
#include "tools/demo/DemoOptions.h"

#include <QTemporaryDir>

#include <memory>
#include <optional>

namespace murlo {

/// One dictation from end to end, with every program but Murlo foreign: what was said, what landed,
/// and how long it took. Main thread.
class Demo {
public:
    explicit Demo(const DemoOptions& options);
    ~Demo();

    /// Does it and prints its four lines; the error is one sentence for the user.
    [[nodiscard]] tl::expected<void, QString> run();

private:
    using Step = tl::expected<void, QString>;

    [[nodiscard]] Step prepareSpeech();
    [[nodiscard]] Step prepareSound();
    [[nodiscard]] Step startPrograms();
    [[nodiscard]] Step startMurlo();
    [[nodiscard]] Step signIn();
    [[nodiscard]] Step dictate();
    [[nodiscard]] Step pickBox();
    [[nodiscard]] Step awaitText();
    [[nodiscard]] Step measureEngine();
    [[nodiscard]] Step report() const;

    void picture(const char* name) const;
    [[nodiscard]] QString landedNow() const;

    DemoOptions m_options;
    QTemporaryDir m_folder;
    QString m_recording;
    QProcess m_soundServer;
    Desk m_desk;
    BrowserSignIn m_browser{m_desk};
    std::unique_ptr<TargetApp> m_app;
    std::unique_ptr<TargetApp> m_other; ///< has the focus when a box is to be picked
    QString m_landed;
    QStringList m_history;
    int m_triggered = 0; ///< milliseconds of the day, as all of these
    int m_released = 0;
    int m_textSeen = 0;
    std::optional<int> m_listening;
    std::optional<int> m_engine; ///< milliseconds
    double m_recorded = 0;       ///< seconds between trigger and release
};

} // namespace murlo
