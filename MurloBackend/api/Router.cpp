#include "Router.h"

#include "MurloBackend/http/Replies.h"

namespace murlo::backend {

void Router::add(const QByteArray& method, const QString& path, Handler handler) {
    m_routes[path][method] = std::move(handler);
}

void Router::route(const Request& request, const QByteArray& peer, const Respond& respond) const {
    const auto path = m_routes.find(request.path);
    if (path == m_routes.end()) {
        respond(problem(404, "there is nothing here"));
        return;
    }
    const auto method = path->second.find(request.method);
    if (method != path->second.end()) {
        method->second(request, peer, respond);
        return;
    }
    QByteArrayList allowed;
    for (const auto& [name, handler] : path->second) allowed << name;
    Reply reply = problem(405, "this method is not for this address");
    reply.headers.emplaceBack("Allow", allowed.join(", "));
    respond(reply);
}

} // namespace murlo::backend
