#pragma once

#include <QProcess>
#include <QTemporaryDir>

#include <memory>
#include <span>
#include <vector>

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
    bool plug(const QString& name, int sampleRate, int channels, bool asDefault = true);
    void unplug(const QString& name);
    bool setDefault(const QString& name);
    /// The module's number, or an empty text if it could not be loaded.
    QString load(const QStringList& module);
    /// Runs the command and returns its output without the last line break.
    QString pactl(const QStringList& arguments);

    /// Begins to play interleaved samples into the microphone; ends with the samples, or at the
    /// next call, or when the server goes.
    bool speakInto(const QString& name, std::span<const float> interleaved, int sampleRate,
                   int channels);
    /// Waits until all of it was heard.
    bool finishSpeaking() { return m_player->waitForFinished(); }
    void silence();

private:
    [[nodiscard]] QProcessEnvironment environment() const;

    QTemporaryDir m_folder;
    QByteArray m_formerAddress;
    QProcess m_server;
    std::unique_ptr<QProcess> m_player;
    QHash<QString, QString> m_modules;
};

} // namespace murlo
