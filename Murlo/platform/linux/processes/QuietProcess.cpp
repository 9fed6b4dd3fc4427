#include "platform/linux/processes/QuietProcess.h"

#include "platform/linux/processes/ProcessFacts.h"

namespace murlo {

namespace {

constexpr std::chrono::milliseconds interval{5};
/// 20 ms: on a busy machine xterm never paused for longer in the middle of its work.
constexpr int quietLooks = 4;
/// 250 ms, and 2 s for a process that never sleeps.
constexpr int blindLooks = 50;
constexpr int mostLooks = 400;

} // namespace

QuietProcess::QuietProcess(std::function<void()> onQuiet)
    : m_onQuiet(std::move(onQuiet)) {
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setInterval(interval);
    QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { check(); });
}

void QuietProcess::watch(std::optional<qint64> pid) {
    m_pid = pid;
    m_ran.clear();
    m_unchanged = m_looks = 0;
    m_timer.start();
}

void QuietProcess::check() {
    const QByteArray ran = m_pid ? ProcessFacts::runningTime(*m_pid) : QByteArray();
    const bool sleeps = m_pid && ProcessFacts::isAsleep(*m_pid);
    m_unchanged = sleeps && ran == m_ran ? m_unchanged + 1 : 0;
    m_ran = ran;
    const int most = ran.isEmpty() ? blindLooks : mostLooks;
    if (++m_looks < most && (ran.isEmpty() || m_unchanged < quietLooks)) return;
    m_timer.stop();
    m_onQuiet();
}

} // namespace murlo
