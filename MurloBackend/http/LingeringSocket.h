#pragma once

#include <asio.hpp>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <string_view>
#include <sys/socket.h>
#include <utility>

namespace murlo::backend {

/// A socket that is on its way out: it sends no more, and what the peer is still sending is read
/// and thrown away until the peer is done or three seconds are over. A socket closed with unread
/// bytes is reset, and the peer may lose the answer that it was just sent.
class Lingering : public std::enable_shared_from_this<Lingering> {
public:
    explicit Lingering(asio::ip::tcp::socket socket)
        : m_strand(asio::make_strand(socket.get_executor()))
        , m_socket(std::move(socket))
        , m_timer(m_strand) {
        ++count();
    }
    ~Lingering() { --count(); }
    Lingering(const Lingering&) = delete;
    Lingering& operator=(const Lingering&) = delete;

    /// How many there are in the process.
    static std::atomic<int>& count() {
        static std::atomic<int> value = 0;
        return value;
    }

    void begin() {
        m_timer.expires_after(std::chrono::seconds(3));
        m_timer.async_wait(asio::bind_executor(
            m_strand, [self = shared_from_this()](const asio::error_code& error) {
                asio::error_code ignored;
                if (!error) self->m_socket.close(ignored);
            }));
        read();
    }

private:
    void read() {
        m_socket.async_read_some(
            asio::buffer(m_scrap),
            asio::bind_executor(
                m_strand, [self = shared_from_this()](const asio::error_code& error, std::size_t) {
                    if (error)
                        self->m_timer.cancel();
                    else
                        self->read();
                }));
    }

    asio::strand<asio::ip::tcp::socket::executor_type> m_strand;
    asio::ip::tcp::socket m_socket;
    asio::steady_timer m_timer;
    std::array<char, 16384> m_scrap{};
};

/// A TCP socket whose `close` lingers, unless the peer is done or too many linger already, and
/// which tells a client that waits for it to go on.
class LingeringSocket : public asio::ip::tcp::socket {
public:
    using asio::ip::tcp::socket::socket;

    /// The library asks the lowest layer for what follows.
    LingeringSocket& lowest_layer() { return *this; }
    /// The unspecified address when the peer has gone before it was accepted. Thrown out of there,
    /// the library would never give the connection's place back.
    [[nodiscard]] endpoint_type remote_endpoint() const {
        asio::error_code gone;
        return asio::ip::tcp::socket::remote_endpoint(gone);
    }

    /// Whether the next reading of this thread is preceded by "100 Continue". The library reads on
    /// as soon as it has parsed, which is where this is known.
    static bool& owesContinue() {
        static thread_local bool value = false;
        return value;
    }

    template <typename Buffers, typename Handler>
    void async_read_some(const Buffers& buffers, Handler&& handler) {
        if (std::exchange(owesContinue(), false)) {
            // Nothing is being sent meanwhile: an answer is on its way before the next request is
            // read. What does not fit is no loss, a client goes on by itself after a while.
            constexpr std::string_view words = "HTTP/1.1 100 Continue\r\n\r\n";
            (void)::send(native_handle(), words.data(), words.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        }
        asio::ip::tcp::socket::async_read_some(buffers, std::forward<Handler>(handler));
    }

    void shutdown(shutdown_type, asio::error_code& error) {
        asio::ip::tcp::socket::shutdown(shutdown_send, error);
    }

    void close() {
        if (!is_open()) return;
        asio::error_code ignored;
        cancel(ignored);
        char byte = 0;
        const auto waiting = ::recv(native_handle(), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
        constexpr int most = 64;
        if (waiting == 0 || Lingering::count() >= most) {
            asio::ip::tcp::socket::close(ignored);
            return;
        }
        std::make_shared<Lingering>(std::move(static_cast<asio::ip::tcp::socket&>(*this)))->begin();
    }
};

} // namespace murlo::backend
