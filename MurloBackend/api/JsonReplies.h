#pragma once

#include "MurloBackend/http/Replies.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace murlo::backend {

/// An answer with this object.
[[nodiscard]] inline Reply json(const QJsonObject& object) {
    Reply reply;
    reply.body = QJsonDocument(object).toJson(QJsonDocument::Compact);
    return reply;
}

} // namespace murlo::backend
