#include "platform/linux/freedesktop/OpenFile.h"

#include "platform/linux/freedesktop/IndependentProcess.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTimer>

#include <memory>

namespace murlo {

namespace {
constexpr int patience = 4000; // milliseconds
} // namespace

void openFile(const QString& target, std::function<void(bool)> done) {
    const auto tell = std::make_shared<std::function<void(bool)>>(std::move(done));
    const auto once = [tell](bool worked) {
        if (const auto answer = std::exchange(*tell, nullptr)) answer(worked);
    };
    if (QDir::isAbsolutePath(target) && !QFileInfo::exists(target)) {
        QTimer::singleShot(0, qApp, [once] { once(false); });
        return;
    }
    QProcess* opener = makeIndependentProcess();
    QObject::connect(opener, &QProcess::finished, opener, [once, opener](int code) {
        once(opener->exitStatus() == QProcess::NormalExit && code == 0);
    });
    QObject::connect(opener, &QProcess::errorOccurred, opener,
                     [once](QProcess::ProcessError error) {
                         if (error == QProcess::FailedToStart) once(false);
                     });
    QTimer::singleShot(patience, opener, [once] { once(true); });
    opener->start(QStringLiteral("xdg-open"), {target});
}

} // namespace murlo
