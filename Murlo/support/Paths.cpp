#include "support/Paths.h"

#include <QDir>
#include <QFile>

namespace murlo {

Paths Paths::ofUser() {
    return Paths(QDir::homePath() + QStringLiteral("/.brisvane"));
}

bool Paths::prepare() const {
    if (!QDir().mkpath(m_support)) return false;
    return QFile::setPermissions(m_support, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

} // namespace murlo
