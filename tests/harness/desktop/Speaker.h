#pragma once

#include <QProcess>
#include <QString>

#include <tl/expected.hpp>

namespace murlo {

/// A voice in front of the virtual microphone: speaks a text or plays a recording into the null
/// sink whose monitor is the microphone. Main thread.
class Speaker {
public:
    /// The name of that sink.
    static constexpr auto sink = "murlo_mic";

    /// Has espeak-ng speak `text` (American English, 160 words a minute) into the WAV file `file`;
    /// the error says what was wrong.
    [[nodiscard]] static tl::expected<void, QString> synthesize(const QString& text,
                                                                const QString& file);

    /// Starts playing the file; false when the player could not be started.
    [[nodiscard]] bool play(const QString& file);
    /// Waits until it was played to its end; false when the player failed.
    [[nodiscard]] bool finish();
    /// Falls silent at once.
    void stop() {
        m_player.kill();
        m_player.waitForFinished();
    }

private:
    QProcess m_player;
};

} // namespace murlo
