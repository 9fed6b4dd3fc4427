#include "platform/linux/secrets/KeychainThread.h"

#include "platform/linux/qt/WorkInbox.h"

#include <QSocketNotifier>
#include <QThread>

namespace murlo::KeychainThread {

namespace {

class Thread : public QThread {
public:
    Thread() {
        setObjectName(QStringLiteral("keyring"));
        start();
    }
    WorkInbox inbox;
    QObject* abandoned = nullptr; ///< made by the thread

protected:
    void run() override {
        abandoned = new QObject;
        const auto receiving = inbox.receive();
        exec();
    }
};

Thread& thread() {
    static auto& only = *new Thread;
    return only;
}

} // namespace

void run(Work work) {
    thread().inbox.push(std::move(work));
}

QObject* abandonedJobs() {
    return thread().abandoned;
}

} // namespace murlo::KeychainThread
