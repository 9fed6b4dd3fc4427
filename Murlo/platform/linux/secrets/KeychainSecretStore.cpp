#include "platform/linux/secrets/KeychainSecretStore.h"

#include <QSocketNotifier>

namespace murlo {

namespace {

constexpr double answerLimit = 5; // seconds

std::function<void(const KeychainQuestion::Answer&)>
withoutValue(std::function<void(SecretStore::Done)> done) {
    if (!done) return {};
    return [done = std::move(done)](const KeychainQuestion::Answer& answer) {
        done(answer.map([](const auto&) {}));
    };
}

} // namespace

KeychainSecretStore::KeychainSecretStore(Scheduler& scheduler)
    : m_scheduler(scheduler)
    , m_receiving(m_answers->receive()) {}

KeychainSecretStore::~KeychainSecretStore() {
    // Nobody waits for what is under way, nor may it keep another instance waiting.
    if (!m_waiting.empty()) m_waiting.begin()->second.question->abandon();
    m_receiving->setEnabled(false);
    m_receiving.release()->deleteLater(); // this may be one of its own calls
}

void KeychainSecretStore::read(const QString& account, std::function<void(Found)> done,
                               std::function<void(Found)> late) {
    add(KeychainQuestion::Kind::read, account, {}, std::move(done), std::move(late));
}

void KeychainSecretStore::save(const QString& account, const QString& value,
                               std::function<void(Done)> done, std::function<void(Done)> late) {
    add(KeychainQuestion::Kind::save, account, value, withoutValue(std::move(done)),
        withoutValue(std::move(late)));
}

void KeychainSecretStore::remove(const QString& account, std::function<void(Done)> done,
                                 std::function<void(Done)> late) {
    add(KeychainQuestion::Kind::remove, account, {}, withoutValue(std::move(done)),
        withoutValue(std::move(late)));
}

void KeychainSecretStore::add(KeychainQuestion::Kind kind, const QString& account,
                              const QString& value, std::function<void(const Answer&)> done,
                              std::function<void(const Answer&)> late) {
    const qint64 id = ++m_lastId;
    // The callers' functions stay here: the keyring's thread passes on a number.
    auto pass = [answers = m_answers, receive = m_life.guard([this, id](const Answer& answer) {
        answered(id, answer);
    })](const Answer& answer) { answers->push([receive, answer]() mutable { receive(answer); }); };
    m_waiting[id] = {std::make_shared<KeychainQuestion>(kind, account, value, std::move(pass)),
                     std::move(done), std::move(late)};
    if (m_waiting.size() == 1) beginNext();
}

void KeychainSecretStore::beginNext() {
    if (m_waiting.empty()) return;
    m_limit = m_scheduler.after(answerLimit, [this] { timedOut(); });
    m_waiting.begin()->second.question->ask();
}

void KeychainSecretStore::answered(qint64 id, const Answer& answer) {
    if (auto late = m_late.extract(id)) {
        late.mapped()(answer);
        return;
    }
    if (m_waiting.empty() || m_waiting.begin()->first != id) return;
    m_limit.cancel();
    const auto waited = m_waiting.extract(id);
    beginNext();
    waited.mapped().done(answer); // last: it may destroy this
}

void KeychainSecretStore::timedOut() {
    auto waited = m_waiting.extract(m_waiting.begin());
    waited.mapped().question->abandon();
    if (waited.mapped().late) m_late[waited.key()] = std::move(waited.mapped().late);
    beginNext();
    waited.mapped().done(
        tl::unexpected(SecretError{QStringLiteral("the keyring did not answer in time")}));
}

} // namespace murlo
