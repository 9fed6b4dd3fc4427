#pragma once

#include "platform/Scheduler.h"
#include "platform/SecretStore.h"
#include "platform/linux/qt/WorkInbox.h"
#include "platform/linux/secrets/KeychainQuestion.h"

#include <deque>
#include <map>
#include <memory>

class QSocketNotifier;

namespace murlo {

/// The Secret Service or KWallet through QtKeychain, on a thread that all instances share. The
/// scheduler runs the time limits.
class KeychainSecretStore : public SecretStore {
public:
    explicit KeychainSecretStore(Scheduler& scheduler);
    ~KeychainSecretStore() override;

    void read(const QString& account, std::function<void(Found)> done,
              std::function<void(Found)> late = {}) override;
    void save(const QString& account, const QString& value, std::function<void(Done)> done,
              std::function<void(Done)> late = {}) override;
    void remove(const QString& account, std::function<void(Done)> done,
                std::function<void(Done)> late = {}) override;

private:
    using Answer = KeychainQuestion::Answer;
    struct Waiting {
        std::shared_ptr<KeychainQuestion> question;
        std::function<void(const Answer&)> done;
        std::function<void(const Answer&)> late; ///< may be null
    };

    void add(KeychainQuestion::Kind kind, const QString& account, const QString& value,
             std::function<void(const Answer&)> done, std::function<void(const Answer&)> late = {});
    void beginNext();
    void answered(qint64 id, const Answer& answer);
    void timedOut();

    Scheduler& m_scheduler;
    qint64 m_lastId = 0;
    std::map<qint64, Waiting> m_waiting; ///< in the order of the calls; the first one is under way
    std::map<qint64, std::function<void(const Answer&)>> m_late; ///< of those that took too long
    ScheduledWork m_limit;
    std::shared_ptr<WorkInbox> m_answers = std::make_shared<WorkInbox>();
    std::unique_ptr<QSocketNotifier> m_receiving;
    Lifetime m_life;
};

} // namespace murlo
