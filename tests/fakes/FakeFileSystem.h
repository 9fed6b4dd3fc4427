#pragma once

#include "platform/FileSystem.h"

#include <QFileInfo>

namespace murlo {

/// A disk with as much room as the test says; files are those of the real one.
class FakeFileSystem : public FileSystem {
public:
    [[nodiscard]] std::optional<qint64> availableBytes(const QString& /*path*/) const override {
        return available;
    }
    [[nodiscard]] bool sync(const QString& path) const override { return QFileInfo::exists(path); }

    std::optional<qint64> available = 10'000'000'000;
};

} // namespace murlo
