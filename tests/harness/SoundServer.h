#pragma once

#include "platform/AudioEngine.h"

#include <QHash>
#include <QProcess>
#include <QTemporaryDir>

#include <memory>
#include <span>

namespace murlo {

/// A private sound server with virtual microphones: null sinks whose monitors are the sources. What
/// is played into one is heard. Programs of this process find it through PULSE_SERVER while this
/// lives. Every call waits until the server has done it.
class SoundServer {
public:
    /// Sets the address up; nothing runs yet.
    SoundServer();
    ~SoundServer();
    SoundServer(const SoundServer&) = delete;
    SoundServer& operator=(const SoundServer&) = delete;

    [[nodiscard]] bool start();
    /// As in a crash: it ends at once and says nothing to its clients.
    void kill();

    /// A microphone of this name, which becomes the default one if `asDefault`; false if it failed.
    [[nodiscard]] bool plug(const QString& name, AudioFormat format, bool asDefault = true);
    void unplug(const QString& name);
    [[nodiscard]] bool setDefault(const QString& name);
    /// Has `pactl` carry out a command and returns its output without the last line break; an empty
    /// text if it failed.
    QString pactl(const QString& command);

    /// Begins to play samples of the microphone's own format into it; ends with the samples, or at
    /// the next call, or when the server goes.
    [[nodiscard]] bool speakInto(const QString& name, std::span<const float> interleaved);
    /// Waits until all of it was heard.
    [[nodiscard]] bool finishSpeaking() { return m_player->waitForFinished(); }

private:
    struct Microphone {
        QString module;
        AudioFormat format;
    };

    void silence();

    QTemporaryDir m_folder;
    QByteArray m_formerAddress;
    QProcess m_server;
    std::unique_ptr<QProcess> m_player;
    QHash<QString, Microphone> m_microphones;
};

} // namespace murlo
