#pragma once

#include "MurloBackend/http/Messages.h"

#include <QHash>
#include <QString>

#include <optional>

namespace murlo::backend {

/// The parameters of an OAuth request by name, decoded.
using FormFields = QHash<QString, QString>;

/// The fields of an `application/x-www-form-urlencoded` body; nothing for another media type, for a
/// name that comes twice (RFC 6749, section 3.1), and for more than 8 KB.
[[nodiscard]] std::optional<FormFields> formFieldsOf(const Request& request);
/// The same of a request's target.
[[nodiscard]] std::optional<FormFields> queryFieldsOf(const Request& request);

} // namespace murlo::backend
