#pragma once

#include "platform/SecretStore.h"

#include <memory>

namespace QKeychain {
class Job;
}

namespace murlo {

/// One operation on the keyring, carried out by the keyring's thread. QtKeychain runs one job at a
/// time and never gives one up, so an operation that hangs (a prompt that nobody answers) must be
/// abandoned for the next one to be served; its own answer may still come.
class KeychainQuestion : public std::enable_shared_from_this<KeychainQuestion> {
public:
    enum class Kind { read, save, remove };
    /// A read item's value, if there is one.
    using Answer = SecretStore::Found;

    /// `answer` is called once, on the keyring's thread, if the keyring ever answers.
    KeychainQuestion(Kind kind, QString account, QString value,
                     std::function<void(const Answer&)> answer);

    /// Queues the operation behind those before it. Any thread.
    void ask();
    /// Lets the next operation begin without waiting for this one. Any thread, once.
    void abandon();

private:
    void begin();
    void finish();

    const Kind m_kind;
    const QString m_account;
    const QString m_value;
    std::function<void(const Answer&)> m_answer;
    QKeychain::Job* m_job =
        nullptr; ///< the keyring thread's; null before its start and after its end
};

} // namespace murlo
