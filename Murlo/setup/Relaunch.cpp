#include "setup/Relaunch.h"

#include "platform/SingleInstance.h"
#include "settings/Settings.h"
#include "support/Log.h"

#include <QCoreApplication>

namespace murlo {

void Relaunch::begin() {
    if (m_looking.isPending()) return;
    m_with.settings.set(SettingKey::hasQuitOnce, true);
    m_with.finishDictation();
    m_with.instance.release();
    const auto started = m_with.instance.startAnother(
        {QLatin1String(argument), QString::number(QCoreApplication::applicationPid())});
    if (!started) {
        stay(started.error());
        return;
    }
    const double until = m_with.scheduler.uptime() + limit;
    m_looking = m_with.scheduler.every(period, [this, until] { look(until); });
}

void Relaunch::look(double until) {
    if (m_with.instance.isHeldByAnother()) {
        m_looking.cancel();
        m_with.quit();
    } else if (m_with.scheduler.uptime() >= until) {
        stay(QStringLiteral("no error"));
    }
}

void Relaunch::stay(const QString& why) {
    m_looking.cancel();
    if (m_with.instance.acquire({}) != SingleInstance::Start::first) {
        m_with.quit(); // it came at the last moment
        return;
    }
    Log::write(
        QStringLiteral("setup: relaunch started no new instance (%1), staying open").arg(why));
}

std::optional<qint64> restartedFrom(const QStringList& arguments) {
    const qsizetype at = arguments.indexOf(QLatin1String(Relaunch::argument));
    bool isNumber = false;
    const qint64 pid = arguments.value(at + 1).toLongLong(&isNumber);
    return at >= 0 && isNumber && pid > 0 ? std::optional(pid) : std::nullopt;
}

} // namespace murlo
