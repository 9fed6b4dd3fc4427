#include "support/PrivateFile.h"

#include <QSaveFile>

namespace murlo {

tl::expected<void, QString> writePrivateFile(const QString& path, const QByteArray& bytes) {
    QSaveFile file(path);
    const bool written = file.open(QIODevice::WriteOnly) &&
                         file.setPermissions(QSaveFile::ReadOwner | QSaveFile::WriteOwner) &&
                         file.write(bytes) == bytes.size() && file.commit();
    if (!written) return tl::unexpected(file.errorString());
    return {};
}

} // namespace murlo
