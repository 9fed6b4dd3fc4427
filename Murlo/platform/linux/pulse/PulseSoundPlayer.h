#pragma once

#include "platform/SoundPlayer.h"
#include "platform/linux/pulse/PulseConnection.h"

#include <map>
#include <memory>
#include <vector>

namespace murlo {

/// Plays the application's own tones, each time on a short stream with the role "event", so that
/// the desktop's volume for event sounds applies. Silent without a sound server.
class PulseSoundPlayer : public SoundPlayer {
public:
    explicit PulseSoundPlayer(std::shared_ptr<PulseConnection> connection);
    ~PulseSoundPlayer() override;

    bool load(const QString& name) override;
    void play(const QString& name, double volume) override;

private:
    class Playing;

    std::shared_ptr<PulseConnection> m_connection;
    std::map<QString, std::vector<float>> m_tones;
    std::map<QString, std::unique_ptr<Playing>> m_playing; ///< by name; last streams are kept
};

} // namespace murlo
