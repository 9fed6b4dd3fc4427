#include "platform/linux/freedesktop/OpenFile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTimer>

#include <memory>

namespace murlo {

namespace {
constexpr int patience = 4000; // milliseconds
}

void openFile(const QString& target, std::function<void(bool)> done) {
    const auto tell = std::make_shared<std::function<void(bool)>>(std::move(done));
    const auto once = [tell](bool worked) {
        if (const auto answer = std::exchange(*tell, nullptr)) answer(worked);
    };
    if (QDir::isAbsolutePath(target) && !QFileInfo::exists(target)) {
        QTimer::singleShot(0, qApp, [once] { once(false); });
        return;
    }
    auto* opener = new QProcess(qApp);
    opener->setProcessChannelMode(QProcess::MergedChannels);
    opener->setStandardOutputFile(QProcess::nullDevice());
    QObject::connect(opener, &QProcess::finished, opener, [once, opener](int code) {
        once(opener->exitStatus() == QProcess::NormalExit && code == 0);
        opener->deleteLater();
    });
    QObject::connect(opener, &QProcess::errorOccurred, opener,
                     [once, opener](QProcess::ProcessError error) {
                         if (error != QProcess::FailedToStart) return;
                         once(false);
                         opener->deleteLater();
                     });
    QTimer::singleShot(patience, opener, [once] { once(true); });
    opener->start(QStringLiteral("xdg-open"), {target});
}

} // namespace murlo
