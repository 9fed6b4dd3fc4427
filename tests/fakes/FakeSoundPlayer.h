#pragma once

#include "platform/SoundPlayer.h"

#include <QStringList>

namespace murlo {

/// Hears what would be played.
class FakeSoundPlayer : public SoundPlayer {
public:
    bool load(const QString& /*name*/) override {
        ++loads;
        return hasSounds;
    }
    void play(const QString& name, double volume) override {
        played << name;
        lastVolume = volume;
    }

    bool hasSounds = true;
    QStringList played; ///< names, in order
    double lastVolume = 0;
    int loads = 0;
};

} // namespace murlo
