#pragma once

#include "platform/SoundPlayer.h"

#include <QString>

#include <optional>

namespace murlo {

/// One short sound, loaded when it is first played. Whether sounds are wanted at all is the
/// caller's question. Main thread.
class Sound {
public:
    Sound(SoundPlayer& player, QString name)
        : m_player(player)
        , m_name(std::move(name)) {}

    /// Plays it from its start, at volume 0.4; silent when the name does not resolve.
    void play() {
        if (!m_loaded) m_loaded = m_player.load(m_name);
        if (*m_loaded) m_player.play(m_name, 0.4);
    }

private:
    SoundPlayer& m_player;
    QString m_name;
    std::optional<bool> m_loaded;
};

/// The sounds that mark the moments of a dictation. Main thread.
struct Sounds {
    explicit Sounds(SoundPlayer& player)
        : begin(player, QStringLiteral("Tink"))
        , confirm(player, QStringLiteral("Pop"))
        , cancel(player, QStringLiteral("Bottle"))
        , error(player, QStringLiteral("Basso")) {}

    Sound begin;   ///< the microphone has started
    Sound confirm; ///< recording has stopped and the clip goes to the engine
    Sound cancel;  ///< the dictation was cancelled or discarded
    Sound error;   ///< the dictation failed
};

} // namespace murlo
