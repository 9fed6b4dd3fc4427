#include "platform/linux/secrets/KeychainQuestion.h"

#include "platform/linux/secrets/KeychainThread.h"
#include "platform/linux/secrets/SecretService.h"

#include <qt6keychain/keychain.h>

namespace murlo {

namespace {

const QString service = QStringLiteral("com.murlo.account");

QKeychain::Job* makeJob(KeychainQuestion::Kind kind, const QString& value) {
    if (kind == KeychainQuestion::Kind::read) return new QKeychain::ReadPasswordJob(service);
    if (kind == KeychainQuestion::Kind::remove) return new QKeychain::DeletePasswordJob(service);
    auto* job = new QKeychain::WritePasswordJob(service);
    job->setTextData(value); // replaces an item in one step
    return job;
}

QString reasonOf(const QKeychain::Job& job) {
    const QString words = job.errorString();
    return words.isEmpty() ? QStringLiteral("error %1").arg(job.error()) : words;
}

} // namespace

KeychainQuestion::KeychainQuestion(Kind kind, QString account, QString value,
                                   std::function<void(const Answer&)> answer)
    : m_kind(kind)
    , m_account(std::move(account))
    , m_value(std::move(value))
    , m_answer(std::move(answer)) {}

void KeychainQuestion::ask() {
    KeychainThread::run([self = shared_from_this()] { self->begin(); });
}

void KeychainQuestion::abandon() {
    KeychainThread::run([self = shared_from_this()] {
        if (!self->m_job) return;
        QKeychain::Job* job = self->m_job;
        // As if it had finished without an error, which a late success would not clear: the
        // library's queue goes on.
        job->disconnect(KeychainThread::abandonedJobs());
        job->emitFinished();
        job->disconnect();
        job->setParent(KeychainThread::abandonedJobs());
        QObject::connect(job, &QKeychain::Job::finished, KeychainThread::abandonedJobs(),
                         [self] { self->finish(); });
    });
}

void KeychainQuestion::begin() {
    if (!SecretService::hasBus()) {
        m_answer(tl::unexpected(SecretError{QStringLiteral("there is no session bus")}));
        return;
    }
    if (!SecretService::isThere()) {
        m_answer(tl::unexpected(
            SecretError{QStringLiteral("this desktop session has no keyring service"), true}));
        return;
    }
    SecretService::prepareLibrary();
    QKeychain::Job* job = makeJob(m_kind, m_value);
    job->setAutoDelete(false);
    job->setInsecureFallback(false);
    job->setKey(m_account);
    m_job = job;
    QObject::connect(job, &QKeychain::Job::finished, KeychainThread::abandonedJobs(),
                     [self = shared_from_this()] { self->finish(); });
    job->start();
}

void KeychainQuestion::finish() {
    QKeychain::Job* job = std::exchange(m_job, nullptr);
    job->disconnect(KeychainThread::abandonedJobs());
    job->deleteLater();
    const bool isMissing = job->error() == QKeychain::EntryNotFound;
    if (!isMissing && job->error() != QKeychain::NoError) {
        m_answer(tl::unexpected(SecretError{reasonOf(*job)}));
    } else if ((isMissing || m_kind != Kind::read) && SecretService::isLocked(service, m_account)) {
        m_answer(tl::unexpected(SecretError{QStringLiteral("the keyring is locked")}));
    } else if (const auto* read = qobject_cast<QKeychain::ReadPasswordJob*>(job);
               read && !isMissing) {
        m_answer(read->textData());
    } else {
        m_answer(std::optional<QString>());
    }
}

} // namespace murlo
