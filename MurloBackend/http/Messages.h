#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrlQuery>

#include <functional>
#include <utility>

namespace murlo::backend {

/// An HTTP request as the endpoints see it: within all limits, its target decoded.
struct Request {
    QByteArray method;
    QString path;    ///< begins with a slash, without the query
    QUrlQuery query; ///< of the target
    QList<std::pair<QByteArray, QByteArray>> headers;
    QByteArray body;

    /// The value of a header, whatever the case of its name; empty without one.
    [[nodiscard]] QByteArray header(const QByteArray& name) const {
        for (const auto& [key, value] : headers)
            if (key.compare(name, Qt::CaseInsensitive) == 0) return value;
        return {};
    }
};

/// The answer to one.
struct Reply {
    int status = 200;
    QByteArray body = QByteArrayLiteral("{}");
    QByteArray contentType = QByteArrayLiteral("application/json");
    QList<std::pair<QByteArray, QByteArray>> headers = {};
};

/// Sends the answer; once, from any thread.
using Respond = std::function<void(Reply)>;

} // namespace murlo::backend
