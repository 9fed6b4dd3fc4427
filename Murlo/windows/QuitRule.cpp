#include "windows/QuitRule.h"

#include "settings/Settings.h"
#include "support/Log.h"

namespace murlo {

namespace {
constexpr double insertionLimit = 3.0; // seconds
} // namespace

QuitRule::QuitRule(Partners partners)
    : m_with(std::move(partners)) {}

void QuitRule::requested() {
    if (m_sessionEnds || m_with.settings.truth(SettingKey::hasQuitOnce)) {
        quit();
        return;
    }
    m_question.ask([this] {
        m_with.settings.set(SettingKey::hasQuitOnce, true);
        quit();
    });
}

void QuitRule::quit() {
    if (std::exchange(m_quitting, true)) return;
    m_with.closeDoors();
    m_limit = m_with.scheduler.after(insertionLimit, [this] {
        Log::write(
            m_inserting
                ? QStringLiteral("app: ends before a text was whole in its box; the history has it")
                : QStringLiteral("app: ends before a change of the account's key was written"));
        m_with.end();
    });
    m_inserting = true;
    m_with.whenInserted(m_lifetime.guard([this] {
        m_inserting = false;
        m_with.whenSecretsWritten(m_lifetime.guard([this] { m_with.end(); }));
    }));
}

void QuitRule::withdraw() {
    m_question.withdraw();
    m_limit.cancel();
}

} // namespace murlo
