#pragma once

#include "platform/SoundPlayer.h"

#include <QSet>
#include <QStringList>

namespace murlo {

/// Hears what would be played.
class FakeSoundPlayer : public SoundPlayer {
public:
    bool load(const QString& name) override {
        ++loads;
        return known.contains(name);
    }
    void play(const QString& name, double volume) override {
        if (!known.contains(name)) return;
        played << name;
        lastVolume = volume;
    }

    QSet<QString> known{QStringLiteral("Tink"), QStringLiteral("Pop"), QStringLiteral("Bottle"),
                        QStringLiteral("Basso")};
    QStringList played; ///< names, in order
    double lastVolume = 0;
    int loads = 0;
};

} // namespace murlo
