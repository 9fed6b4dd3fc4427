#include "Workers.h"

#include "MurloBackend/store/Migrations.h"
#include "MurloBackend/support/Log.h"

#include <QFileInfo>

#include <algorithm>

namespace murlo::backend {

namespace {

/// Works that one transaction holds on SQLite.
constexpr std::size_t mostTogether = 64;

bool attempt(Connection& connection, const Work& work) {
    if (!work.writes) return work.run(connection);
    if (!connection.begin()) return false;
    if (work.run(connection) && connection.commit()) return true;
    connection.rollback();
    return false;
}

/// All of them in one transaction, or none.
bool attemptTogether(Connection& connection, const std::vector<Work>& batch) {
    if (!connection.begin()) return false;
    const bool ran = std::all_of(batch.begin(), batch.end(),
                                 [&](const Work& work) { return work.run(connection); });
    if (ran && connection.commit()) return true;
    connection.rollback();
    return false;
}

/// A file that was removed is made anew, with its tables.
bool revive(Connection& connection) {
    const bool wasGone = connection.isGone();
    if (wasGone)
        say(Severity::warning, QStringLiteral("database: its file was removed; it is made anew, "
                                              "without the accounts that it had"));
    return connection.revive() && (!wasGone || migrate(connection).isEmpty());
}

} // namespace

Workers::Workers(DatabaseAddress address, int threads)
    : m_address(std::move(address))
    , m_count(threads) {}

Workers::~Workers() {
    stop();
}

QString Workers::start() {
    {
        Connection connection(m_address);
        if (!connection.open()) return connection.fault();
        QString fault = migrate(connection);
        if (!fault.isEmpty()) return fault;
    }
    m_runs = true;
    for (int thread = 0; thread < m_count; ++thread)
        m_threads.emplace_back([this] { serve(m_reading, 1); });
    if (!m_address.isPostgres) m_threads.emplace_back([this] { serve(m_writing, mostTogether); });
    return {};
}

void Workers::stop() {
    {
        const std::lock_guard lock(m_lock);
        m_runs = false;
    }
    m_reading.hasWork.notify_all();
    m_writing.hasWork.notify_all();
    if (m_threads.empty()) return;
    for (std::thread& thread : m_threads) thread.join();
    m_threads.clear();
    // The last connection to close an SQLite file writes its log back into it; of several that
    // close at once none may be the last. A file that was removed meanwhile stays removed.
    if (m_address.isPostgres || !QFileInfo::exists(m_address.path)) return;
    Connection last(m_address);
    if (!last.open()) say(Severity::warning, QStringLiteral("database: %1").arg(last.fault()));
}

void Workers::post(Work work) {
    {
        const std::lock_guard lock(m_lock);
        if (m_runs) {
            Queue& queue = work.writes && !m_address.isPostgres ? m_writing : m_reading;
            queue.work.push_back(std::move(work));
            queue.hasWork.notify_one();
            return;
        }
    }
    work.done(false);
}

void Workers::serve(Queue& queue, std::size_t together) {
    Connection connection(m_address);
    if (!connection.open()) noteHealth(false, connection.fault());
    for (;;) {
        Batch batch;
        {
            std::unique_lock lock(m_lock);
            queue.hasWork.wait(lock, [&] { return !queue.work.empty() || !m_runs; });
            if (queue.work.empty()) return;
            while (!queue.work.empty() && batch.size() < together) {
                batch.push_back(std::move(queue.work.front()));
                queue.work.pop_front();
            }
        }
        doBatch(connection, batch);
    }
}

void Workers::noteHealth(bool isWell, const QString& fault) {
    // Once for each change, however many requests see it.
    if (m_isWell.exchange(isWell) == isWell) return;
    if (isWell)
        say(Severity::information, QStringLiteral("database: works again"));
    else
        say(Severity::failure, QStringLiteral("database: %1").arg(fault));
}

void Workers::doBatch(Connection& connection, Batch& batch) {
    // Into a removed file one could go on writing, for nobody to read.
    if (connection.isGone()) (void)revive(connection);
    if (batch.size() > 1 && attemptTogether(connection, batch)) {
        for (const Work& work : batch) work.done(true);
        return;
    }
    for (const Work& work : batch) {
        bool done = attempt(connection, work);
        if (!done) done = revive(connection) && attempt(connection, work);
        noteHealth(done, connection.fault());
        work.done(done);
    }
}

} // namespace murlo::backend
