#pragma once

#include "MurloBackend/http/Messages.h"

#include <functional>
#include <map>

namespace murlo::backend {

/// What a path answers to which method.
class Router {
public:
    /// Gets a request and its peer's address.
    using Handler = std::function<void(const Request&, const QByteArray& peer, Respond)>;

    void add(const QByteArray& method, const QString& path, Handler handler);

    /// Hands the request to its handler; answers 404 or 405 itself. Any thread, once all routes are
    /// there.
    void route(const Request& request, const QByteArray& peer, const Respond& respond) const;

private:
    std::map<QString, std::map<QByteArray, Handler>> m_routes;
};

} // namespace murlo::backend
