#pragma once

#include <QByteArray>
#include <QByteArrayView>

namespace murlo::backend {

/// The bytes of a member's value in a JSON object, as they are written; the last one if there are
/// several. The object is well-formed: it has been parsed before. Empty if there is no such member,
/// or if its name is written with escapes.
[[nodiscard]] QByteArray rawMember(const QByteArray& object, QByteArrayView name);

} // namespace murlo::backend
