#pragma once

#include <QByteArray>
#include <QString>

#include <tl/expected.hpp>

namespace murlo {

/// Replaces a file's content in one step and makes it readable by its owner alone. After a failure
/// the old content stands; the error says why, in the system's words. Any thread.
[[nodiscard]] tl::expected<void, QString> writePrivateFile(const QString& path,
                                                           const QByteArray& bytes);

} // namespace murlo
