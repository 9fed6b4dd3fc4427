#pragma once

#include "platform/Port.h"

#include <QString>

#include <optional>

namespace murlo {

/// What large files need to know of the disk, and cannot ask the library. Any thread; may block for
/// as long as the disk does.
class FileSystem : public Port {
public:
    /// Bytes that this user may still write to the volume of a path; nothing when it does not tell.
    [[nodiscard]] virtual std::optional<qint64> availableBytes(const QString& path) const = 0;
    /// Waits until a file's content, or a folder's entries, are on the disk. False when that
    /// failed, or there is no such file.
    [[nodiscard]] virtual bool sync(const QString& path) const = 0;
};

} // namespace murlo
