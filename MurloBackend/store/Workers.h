#pragma once

#include "MurloBackend/store/Connection.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace murlo::backend {

/// Something to do with the database.
struct Work {
    /// Does it; false if the database failed. May run again after a failure, so it touches nothing
    /// that a second time would spoil.
    std::function<bool(Connection&)> run;
    /// Told once: whether it was done and, if it writes, is on the disk.
    std::function<void(bool done)> done;
    bool writes = false; ///< runs inside a transaction
};

/// Threads with a connection each that do the database's work in the order of its arrival. SQLite
/// has one thread that writes: what has come while it was writing is committed together, which is
/// what makes many small writes cheap. A database that was away is connected to again, and the work
/// that it failed is tried once more.
class Workers {
public:
    /// `threads` for reading and, on PostgreSQL, for writing.
    Workers(DatabaseAddress address, int threads);
    /// Does first what is waiting.
    ~Workers();
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    /// Migrates the database and begins. Nothing if that worked, else what did not.
    [[nodiscard]] QString start();
    /// Does what is waiting, then closes the connections. Idempotent.
    void stop();

    /// Any thread. After `stop` the work is refused.
    void post(Work work);

private:
    using Batch = std::vector<Work>;
    struct Queue {
        std::deque<Work> work;
        std::condition_variable hasWork;
    };

    void serve(Queue& queue, std::size_t together);
    void doBatch(Connection& connection, Batch& batch);
    void noteHealth(bool isWell, const QString& fault);

    DatabaseAddress m_address;
    int m_count;
    std::mutex m_lock;
    Queue m_reading;
    Queue m_writing;
    bool m_runs = false;
    std::atomic<bool> m_isWell = true; ///< as the log has it
    std::vector<std::thread> m_threads;
};

} // namespace murlo::backend
