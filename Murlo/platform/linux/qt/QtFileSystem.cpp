#include "platform/linux/qt/QtFileSystem.h"

#include <QFile>
#include <QStorageInfo>

#include <fcntl.h>
#include <unistd.h>

namespace murlo {

std::optional<qint64> QtFileSystem::availableBytes(const QString& path) const {
    const QStorageInfo volume(path);
    if (!volume.isValid() || volume.bytesAvailable() < 0) return std::nullopt;
    return volume.bytesAvailable();
}

bool QtFileSystem::sync(const QString& path) const {
    const int handle = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (handle < 0) return false;
    const bool done = ::fsync(handle) == 0;
    ::close(handle);
    return done;
}

} // namespace murlo
