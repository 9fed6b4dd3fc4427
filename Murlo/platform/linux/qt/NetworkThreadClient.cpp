#include "platform/linux/qt/NetworkThreadClient.h"

#include "platform/linux/qt/QtHttpClient.h"
#include "platform/linux/qt/WorkInbox.h"

#include <QSocketNotifier>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <semaphore>

namespace murlo {

namespace {

constexpr std::chrono::seconds endLimit{2};
/// Pieces of a stream (up to 1 MB each) that wait for the main thread before the network waits.
constexpr int mostWaitingPieces = 4;

/// Bounds what a stream has on its way to the main thread.
class PieceGate : NonCopyable {
public:
    /// Waits for room; false once the transfer is over. Network thread.
    [[nodiscard]] bool enter() {
        std::unique_lock lock(m_lock);
        m_changed.wait(lock, [this] { return m_closed || m_waiting < mostWaitingPieces; });
        ++m_waiting;
        return !m_closed;
    }
    /// A piece has been taken. Main thread.
    void leave() {
        const std::lock_guard guard(m_lock);
        --m_waiting;
        m_changed.notify_one();
    }
    /// Nobody takes any more. Main thread.
    void close() {
        const std::lock_guard guard(m_lock);
        m_closed = true;
        m_changed.notify_one();
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    int m_waiting = 0;
    bool m_closed = false;
};

/// What lives on the network thread: its client and the requests under way.
struct FarSide {
    std::unique_ptr<QtHttpClient> client;
    std::map<qint64, std::unique_ptr<HttpTask>> tasks;

    void end(qint64 id) {
        // Out of the map first: what destroying it calls may look there.
        if (auto task = tasks.extract(id)) task.mapped().reset();
    }
};

} // namespace

/// The main thread's end of the network thread. The caller's functions never leave the main thread:
/// what comes back carries a request's number, and finds nothing once the request is over.
class NetworkThreadClient::Remote : public std::enable_shared_from_this<Remote>, NonCopyable {
public:
    explicit Remote(Scheduler& scheduler)
        : m_queue(scheduler.makeSerialQueue(QStringLiteral("murlo.network"))) {
        m_queue->async([far = m_far, queue = m_queue.get()] {
            far->client = std::make_unique<QtHttpClient>([queue](double seconds, Work work) {
                return queue->after(seconds, std::move(work));
            });
        });
    }
    ~Remote() {
        m_receiving->setEnabled(false);
        m_receiving.release()->deleteLater(); // this may be one of its own calls
        for (const auto& [id, request] : m_requests) request.gate->close();
        const auto ended = std::make_shared<std::binary_semaphore>(0);
        m_queue->async([far = std::exchange(m_far, nullptr), ended] {
            far->tasks.clear();
            far->client.reset();
            ended->release();
        });
        if (!ended->try_acquire_for(endLimit)) (void)m_queue.release(); // it is blocked
    }

    std::unique_ptr<HttpTask> send(const HttpRequest& request,
                                   std::function<void(HttpResult)> completion) {
        const qint64 id = ++m_last;
        const auto gate = std::make_shared<PieceGate>();
        m_requests[id] = {std::move(completion), request.head, request.piece, gate};
        m_queue->async([far = m_far, id, carried = carry(request, id, gate), answers = m_answers,
                        back = weak_from_this()] {
            far->tasks[id] = far->client->send(carried, [=](HttpResult result) {
                far->end(id);
                post(answers, back,
                     [id, result = std::move(result)](Remote& self) { self.complete(id, result); });
            });
        });
        return std::make_unique<Task>(weak_from_this(), id);
    }

private:
    struct Request {
        std::function<void(HttpResult)> completion;
        std::function<bool(const HttpResponse&)> head;
        std::function<bool(const QByteArray&)> piece;
        std::shared_ptr<PieceGate> gate;
    };

    /// The caller's handle, which may outlive the client.
    class Task : public HttpTask {
    public:
        Task(std::weak_ptr<Remote> remote, qint64 id)
            : m_remote(std::move(remote))
            , m_id(id) {}
        ~Task() override { Task::cancel(); }
        void cancel() override {
            if (const auto remote = m_remote.lock()) remote->cancel(m_id);
        }

    private:
        std::weak_ptr<Remote> m_remote;
        qint64 m_id;
    };

    /// Runs `work` on the main thread, if the client is still there then. Network thread.
    static void post(const std::shared_ptr<WorkInbox>& answers, const std::weak_ptr<Remote>& back,
                     std::function<void(Remote&)> work) {
        answers->push([back, work = std::move(work)] {
            if (const auto self = back.lock()) work(*self);
        });
    }

    /// The request as the network thread gets it: with callbacks that pass on to the main thread.
    [[nodiscard]] HttpRequest carry(const HttpRequest& request, qint64 id,
                                    const std::shared_ptr<PieceGate>& gate) {
        HttpRequest carried = request;
        carried.head = nullptr;
        carried.piece = nullptr;
        if (!request.piece) return carried;
        carried.head = [=, answers = m_answers, back = weak_from_this()](const HttpResponse& head) {
            post(answers, back, [=](Remote& self) { self.takeHead(id, head); });
            return true;
        };
        carried.piece = [=, answers = m_answers, back = weak_from_this()](const QByteArray& piece) {
            if (!gate->enter()) return false;
            post(answers, back, [=](Remote& self) { self.takePiece(id, piece); });
            return true;
        };
        return carried;
    }

    void takeHead(qint64 id, const HttpResponse& head) {
        const auto request = m_requests.find(id);
        if (request == m_requests.end()) return;
        const auto taken = std::exchange(request->second.head, nullptr);
        if (taken && !taken(head)) breakOff(id);
    }
    void takePiece(qint64 id, const QByteArray& piece) {
        const auto request = m_requests.find(id);
        if (request == m_requests.end()) return;
        request->second.gate->leave();
        const auto taken = request->second.piece; // a copy: it may end its own request
        if (!taken(piece)) breakOff(id);
    }
    void breakOff(qint64 id) {
        if (const auto completion = remove(id))
            completion(tl::unexpected(QtHttpClient::brokenOff()));
    }
    void complete(qint64 id, const HttpResult& result) {
        auto request = m_requests.extract(id);
        if (request) request.mapped().completion(result);
    }
    void cancel(qint64 id) { (void)remove(id); }

    /// Ends a request that is still under way, and gives its completion.
    std::function<void(HttpResult)> remove(qint64 id) {
        auto request = m_requests.extract(id);
        if (!request) return {};
        request.mapped().gate->close();
        m_queue->async([far = m_far, id] { far->end(id); });
        return std::move(request.mapped().completion);
    }

    qint64 m_last = 0;
    std::map<qint64, Request> m_requests;
    std::shared_ptr<FarSide> m_far = std::make_shared<FarSide>(); ///< used on the network thread
    std::shared_ptr<WorkInbox> m_answers = std::make_shared<WorkInbox>();
    std::unique_ptr<QSocketNotifier> m_receiving = m_answers->receive();
    std::unique_ptr<SerialQueue> m_queue;
};

NetworkThreadClient::NetworkThreadClient(Scheduler& scheduler,
                                         std::function<bool(const QUrl&)> isLocal)
    : m_scheduler(scheduler)
    , m_isLocal(std::move(isLocal))
    , m_local(std::make_unique<QtHttpClient>([&scheduler](double seconds, Work work) {
        return scheduler.after(seconds, std::move(work));
    })) {}

NetworkThreadClient::~NetworkThreadClient() = default;

bool NetworkThreadClient::isLoopback(const QUrl& url) {
    return QtHttpClient::isLoopback(url.host());
}

std::unique_ptr<HttpTask> NetworkThreadClient::send(const HttpRequest& request,
                                                    std::function<void(HttpResult)> completion) {
    if (m_isLocal(request.url)) return m_local->send(request, std::move(completion));
    if (!m_remote) m_remote = std::make_shared<Remote>(m_scheduler);
    return m_remote->send(request, std::move(completion));
}

} // namespace murlo
