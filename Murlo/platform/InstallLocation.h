#pragma once

#include "platform/Port.h"

#include <QString>

#include <functional>
#include <tl/expected.hpp>

namespace murlo {

/// Where this application runs from. Some systems give one that runs from a disk image or a folder
/// of downloads no access to keys. Main thread.
class InstallLocation : public Port {
public:
    /// Whether it must be moved to where applications belong before it can work.
    [[nodiscard]] virtual bool needsMoving() const = 0;
    /// Copies it there, over an older copy; the error is the platform's description. Blocks while
    /// it copies.
    [[nodiscard]] virtual tl::expected<void, QString> move() = 0;
    /// Opens the copy; `done` is called on a later turn, whatever came of it.
    virtual void openCopy(std::function<void()> done) = 0;
};

} // namespace murlo
