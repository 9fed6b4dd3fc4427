#pragma once

#include "platform/FileSystem.h"

namespace murlo {

/// The disks of this computer, through `QStorageInfo` and fsync.
class QtFileSystem : public FileSystem {
public:
    [[nodiscard]] std::optional<qint64> availableBytes(const QString& path) const override;
    [[nodiscard]] bool sync(const QString& path) const override;
};

} // namespace murlo
