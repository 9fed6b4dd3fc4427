#pragma once

#include <QByteArray>
#include <QByteArrayList>
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
    /// The elements of a header that is a list, which may come in several lines (RFC 9110, 5.3), in
    /// their order and without blanks around them.
    [[nodiscard]] QByteArrayList list(const QByteArray& name) const {
        QByteArrayList elements;
        for (const auto& [key, value] : headers) {
            if (key.compare(name, Qt::CaseInsensitive) != 0) continue;
            for (const QByteArray& element : value.split(',')) elements << element.trimmed();
        }
        return elements;
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
