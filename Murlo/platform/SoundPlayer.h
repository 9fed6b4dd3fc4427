#pragma once

#include "platform/Port.h"

#include <QString>

namespace murlo {

/// The application's short sounds, by name ("Tink", "Pop", "Bottle", "Basso"). Main thread.
class SoundPlayer : public Port {
public:
    /// Loads the sound once; false when the name does not resolve.
    virtual bool load(const QString& name) = 0;
    /// Stops the sound if it still plays and plays it from its start; volume 0…1. Never blocks;
    /// failures are ignored.
    virtual void play(const QString& name, double volume) = 0;
};

} // namespace murlo
