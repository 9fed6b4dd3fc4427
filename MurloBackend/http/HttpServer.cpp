#include "HttpServer.h"

#include "LingeringSocket.h"
#include "ListenQueue.h"
#include "MurloBackend/http/Parsing.h"
#include "MurloBackend/http/Replies.h"
#include "MurloBackend/http/StatusWords.h"
#include "MurloBackend/support/Log.h"

#include <QUrl>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <unordered_map>
#include <vector>

namespace murlo::backend {

namespace {

/// Who is at the other end of a connection.
struct Peer {
    QByteArray address;
    std::optional<uint> user; ///< where only one user is answered
};

/// Hears of every connection's begin and end.
class Peers {
public:
    /// `own` tells where the server listens; `heard` is called for every connection that is kept.
    Peers(std::optional<uint> onlyUser, std::function<Endpoint()> own, std::function<void()> heard)
        : m_onlyUser(onlyUser)
        , m_own(std::move(own))
        , m_heard(std::move(heard)) {}

    /// Throws for a connection of another user than the only one, which makes the library close it:
    /// others must not hold the places of those that may ask. Its way of refusing connections, an
    /// "IP blocker", gives no place back: after as many refusals nobody is accepted any more.
    void state_changed(const restinio::connection_state::notice_t& notice) {
        const auto id = notice.connection_id();
        if (restinio::holds_alternative<restinio::connection_state::accepted_t>(notice.cause())) {
            const auto remote = notice.remote_endpoint();
            const Endpoint end{QHostAddress(QString::fromStdString(remote.address().to_string())),
                               remote.port()};
            Peer peer{end.address.toString().toLatin1(), {}};
            if (m_onlyUser) {
                peer.user = userOfPeer(end, m_own());
                if (peer.user != m_onlyUser) throw std::runtime_error("another user's connection");
            }
            m_heard();
            const std::lock_guard lock(m_lock);
            m_peers[id] = std::move(peer);
        } else {
            const std::lock_guard lock(m_lock);
            m_peers.erase(id);
        }
    }
    [[nodiscard]] Peer find(restinio::connection_id_t id) const {
        const std::lock_guard lock(m_lock);
        const auto found = m_peers.find(id);
        return found == m_peers.end() ? Peer{} : found->second;
    }

private:
    std::optional<uint> m_onlyUser;
    std::function<Endpoint()> m_own;
    std::function<void()> m_heard;
    mutable std::mutex m_lock;
    std::unordered_map<restinio::connection_id_t, Peer> m_peers;
};

struct ServerTraits : restinio::traits_t<restinio::asio_timer_manager_t, restinio::null_logger_t,
                                         restinio::details::autodetect_request_handler_type,
                                         restinio::default_strand_t, LingeringSocket> {
    using connection_state_listener_t = Peers;
    static constexpr bool use_connection_count_limiter = true;
};

/// A request's target without its query.
struct Target {
    QByteArray path;
    std::optional<QByteArray> host; ///< where it is an absolute one, which overrules the header
};

/// "http://host/path" beside "/path" (RFC 9112, 3.2.2).
Target targetOf(const QByteArray& text) {
    const QByteArray start = text.first(std::min<qsizetype>(text.size(), 8)).toLower();
    const qsizetype scheme = start == "https://" ? 8 : start.startsWith("http://") ? 7 : 0;
    if (scheme == 0) return {text, {}};
    const qsizetype slash = text.indexOf('/', scheme);
    if (slash < 0) return {"/", text.mid(scheme)};
    return {text.mid(slash), text.mid(scheme, slash - scheme)};
}

Request requestOf(const restinio::request_t& raw) {
    const auto bytes = [](const auto& view) {
        return QByteArray(view.data(), static_cast<qsizetype>(view.size()));
    };
    Request request;
    request.method = QByteArray(raw.header().method().c_str());
    const Target target = targetOf(bytes(raw.header().path()));
    request.path = QUrl::fromPercentEncoding(target.path);
    request.query = QUrlQuery(QString::fromUtf8(bytes(raw.header().query())));
    raw.header().for_each_field([&](const auto& field) {
        const bool isNamed = target.host && field.field_id() == restinio::http_field::host;
        request.headers.emplaceBack(bytes(field.name()),
                                    isNamed ? *target.host : bytes(field.value()));
    });
    request.body = bytes(raw.body());
    return request;
}

} // namespace

/// The library's server, its threads, and the requests that are under way.
class HttpServer::Machine {
    using Server = restinio::http_server_t<ServerTraits>;

public:
    Machine(HttpOptions options, Handler handler)
        : m_options(std::move(options))
        , m_handler(std::move(handler))
        , m_peers(std::make_shared<Peers>(
              m_options.onlyUser, [this] { return m_own; }, [this] { touch(); })) {
        touch();
    }
    ~Machine() { // NOLINT(bugprone-exception-escape): without memory nothing can be done
        halt();
        // Connections that are still open end with the context's operations, after the server, and
        // count themselves off there; the server's acceptor in turn must not end after the context.
        // So the server, which is closed, stays where it is until the process ends.
        static std::vector<std::unique_ptr<Server>>& closed = leaked();
        closed.push_back(std::move(m_server));
    }
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    tl::expected<Endpoint, QString> listen();
    void run();
    void stop(std::chrono::milliseconds patience);
    [[nodiscard]] std::chrono::steady_clock::duration quietFor() const {
        if (m_underWay > 0) return {};
        const std::chrono::steady_clock::duration then(m_lastTouch.load());
        return std::chrono::steady_clock::now().time_since_epoch() - then;
    }

private:
    /// Never destroyed.
    static std::vector<std::unique_ptr<Server>>& leaked() {
        static auto* servers = new std::vector<std::unique_ptr<Server>>;
        return *servers;
    }
    restinio::server_settings_t<ServerTraits> settings();
    void adopt(asio::ip::tcp::acceptor& acceptor);
    restinio::request_handling_status_t handle(const restinio::request_handle_t& raw);
    void answer(const restinio::request_handle_t& raw, const Reply& reply, bool last,
                const std::shared_ptr<void>& underWay);
    /// Lives as long as a request is under way.
    std::shared_ptr<void> begun();
    void touch() { m_lastTouch = std::chrono::steady_clock::now().time_since_epoch().count(); }
    void closeListening();
    void halt();

    HttpOptions m_options;
    Handler m_handler;
    Endpoint m_own; ///< written before the first connection
    int m_listening = -1;
    std::optional<LocalGuard> m_guard;
    std::shared_ptr<Peers> m_peers;
    std::atomic<bool> m_stopping = false;
    std::atomic<int> m_underWay = 0;
    std::atomic<std::chrono::steady_clock::rep> m_lastTouch = 0;
    std::mutex m_lock;
    std::condition_variable m_idle;
    // Ended before what is above: its operations hold requests, which count themselves off there.
    asio::io_context m_context;
    asio::steady_timer m_queueCheck{m_context};
    std::unique_ptr<Server> m_server;
    std::vector<std::thread> m_threads;
};

restinio::server_settings_t<ServerTraits> HttpServer::Machine::settings() {
    constexpr std::size_t longestTarget = 8192;
    constexpr std::size_t longestName = 256;
    constexpr std::size_t longestValue = 16384;
    constexpr std::size_t mostFields = 100;
    restinio::server_settings_t<ServerTraits> settings;
    const bool adopts = m_options.inheritedSocket >= 0;
    const bool isIPv6 = m_options.address.protocol() == QAbstractSocket::IPv6Protocol && !adopts;
    settings.protocol(isIPv6 ? asio::ip::tcp::v6() : asio::ip::tcp::v4())
        .address(adopts ? std::string("127.0.0.1") : m_options.address.toString().toStdString())
        .port(adopts ? 0 : m_options.port)
        .max_parallel_connections(static_cast<std::size_t>(m_options.connections))
        .read_next_http_message_timelimit(m_options.readLimit)
        .handle_request_timeout(m_options.handleLimit)
        .write_http_response_timelimit(m_options.writeLimit)
        .buffer_size(16384)
        .incoming_http_msg_limits(restinio::incoming_http_msg_limits_t{}
                                      .max_url_size(longestTarget)
                                      .max_field_name_size(longestName)
                                      .max_field_value_size(longestValue)
                                      .max_field_count(mostFields)
                                      .max_body_size(static_cast<quint64>(m_options.bodyLimit)))
        .connection_state_listener(m_peers)
        .acceptor_post_bind_hook([this](asio::ip::tcp::acceptor& acceptor) { adopt(acceptor); })
        .request_handler([this](const restinio::request_handle_t& raw) { return handle(raw); });
    return settings;
}

void HttpServer::Machine::adopt(asio::ip::tcp::acceptor& acceptor) {
    if (m_options.inheritedSocket >= 0) {
        sockaddr_storage name{};
        socklen_t size = sizeof name;
        ::getsockname(m_options.inheritedSocket, reinterpret_cast<sockaddr*>(&name), &size);
        acceptor.close();
        acceptor.assign(name.ss_family == AF_INET6 ? asio::ip::tcp::v6() : asio::ip::tcp::v4(),
                        m_options.inheritedSocket);
    }
    m_listening = acceptor.native_handle();
    const auto end = acceptor.local_endpoint();
    m_own = {QHostAddress(QString::fromStdString(end.address().to_string())), end.port()};
    if (m_options.onlyUser) m_guard.emplace(m_own, *m_options.onlyUser);
}

tl::expected<Endpoint, QString> HttpServer::Machine::listen() {
    try {
        m_server = std::make_unique<Server>(restinio::external_io_context(m_context), settings());
        m_server->open_sync(); // no thread of the context runs yet
    } catch (const std::exception& fault) {
        return tl::unexpected(QString::fromUtf8(fault.what()));
    }
    return m_own;
}

void HttpServer::Machine::run() {
    for (int count = 0; count < m_options.threads; ++count)
        m_threads.emplace_back([this] {
            const auto work = asio::make_work_guard(m_context);
            while (!m_context.stopped()) {
                try {
                    m_context.run();
                } catch (const std::exception& fault) {
                    say(Severity::failure, QStringLiteral("a request failed: %1")
                                               .arg(QString::fromUtf8(fault.what())));
                }
            }
        });
}

restinio::request_handling_status_t
HttpServer::Machine::handle(const restinio::request_handle_t& raw) {
    const std::shared_ptr<void> underWay = begun();
    if (const auto status = faultOf(raw->header())) {
        answer(raw, problem(*status, reasonOf(*status)), true, underWay);
        return restinio::request_accepted();
    }
    Request request = requestOf(*raw);
    const Peer peer = m_peers->find(raw->connection_id());
    if (m_guard) {
        if (const auto refusal = m_guard->refusal(request, peer.user)) {
            answer(raw, *refusal, true, underWay);
            return restinio::request_accepted();
        }
    }
    m_handler(std::move(request), peer.address,
              [this, raw, underWay](const Reply& reply) { answer(raw, reply, false, underWay); });
    return restinio::request_accepted();
}

void HttpServer::Machine::answer(const restinio::request_handle_t& raw, const Reply& reply,
                                 bool last, const std::shared_ptr<void>& underWay) {
    const bool closes = last || m_stopping || !raw->header().should_keep_alive();
    auto response = raw->create_response(
        {restinio::http_status_code_t(static_cast<std::uint16_t>(reply.status)),
         phraseOf(reply.status)});
    response.append_header(restinio::http_field::server, "murlo-backend")
        .append_header(restinio::http_field::content_type, reply.contentType.toStdString())
        .append_header_date_field();
    bool saysCaching = false;
    for (const auto& [name, value] : reply.headers) {
        saysCaching |= name.compare("cache-control", Qt::CaseInsensitive) == 0;
        response.append_header(name.toStdString(), value.toStdString());
    }
    if (!saysCaching) response.append_header(restinio::http_field::cache_control, "no-store");
    if (closes) response.connection_close();
    const bool isHead = raw->header().method() == restinio::http_method_head();
    response.set_body(isHead ? std::string() : reply.body.toStdString());
    auto send = [underWay, response = std::move(response)]() mutable {
        response.done([underWay](const auto&) {});
    };
    // An answer within the call of the handler makes the library begin to read the next request
    // twice: of three that were sent at once it answers one, and closes the connection.
    if (m_context.get_executor().running_in_this_thread())
        asio::post(m_context, std::move(send));
    else
        send();
}

std::shared_ptr<void> HttpServer::Machine::begun() {
    ++m_underWay;
    touch();
    return {nullptr, [this](void*) {
                touch();
                const std::lock_guard lock(m_lock);
                --m_underWay;
                m_idle.notify_all();
            }};
}

void HttpServer::Machine::stop(std::chrono::milliseconds patience) {
    m_stopping = true;
    if (m_threads.empty()) {
        halt();
        return;
    }
    touch(); // connections that wait, or were just made, are about to ask
    if (m_options.inheritedSocket < 0) turnAwayFurther(m_listening);
    asio::post(m_context, [this] { closeListening(); });
    constexpr std::chrono::milliseconds quiet(100);
    const auto end = std::chrono::steady_clock::now() + patience;
    std::unique_lock lock(m_lock);
    while (quietFor() < quiet && std::chrono::steady_clock::now() < end)
        m_idle.wait_for(lock, quiet);
    lock.unlock();
    halt();
}

/// Once those that wait are taken. The queue of an inherited socket stays with the service manager.
void HttpServer::Machine::closeListening() {
    if (m_options.inheritedSocket >= 0 || !hasWaiting(m_listening)) {
        m_server->close_sync();
        return;
    }
    m_queueCheck.expires_after(std::chrono::milliseconds(1));
    m_queueCheck.async_wait([this](const asio::error_code& error) {
        if (!error) closeListening();
    });
}

void HttpServer::Machine::halt() {
    m_context.stop();
    for (std::thread& thread : m_threads) thread.join();
    m_threads.clear();
    if (m_server) m_server->close_sync(); // no thread of the context runs any more
}

HttpServer::HttpServer(HttpOptions options, Handler handler)
    : m_machine(std::make_unique<Machine>(std::move(options), std::move(handler))) {}

HttpServer::~HttpServer() = default;

tl::expected<Endpoint, QString> HttpServer::listen() {
    return m_machine->listen();
}

void HttpServer::run() {
    m_machine->run();
}

void HttpServer::stop(std::chrono::milliseconds patience) {
    m_machine->stop(patience);
}

std::chrono::steady_clock::duration HttpServer::quietFor() const {
    return m_machine->quietFor();
}

} // namespace murlo::backend
