#include "platform/linux/freedesktop/OpenFile.h"

#include "platform/linux/freedesktop/DetachedProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QSet>
#include <QTimer>

#include <memory>

namespace murlo {

namespace {
constexpr int patience = 4000; // milliseconds

/// The openers that still run. Some run the opened program themselves, a browser perhaps: ending
/// this program must not end them, as destroying their QProcess would.
QSet<QProcess*>& runningOpeners() {
    static auto& openers = *new QSet<QProcess*>;
    return openers;
}
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
    auto* opener = new QProcess;
    runningOpeners().insert(opener);
    makeIndependent(*opener);
    const auto end = [once, opener](bool worked) {
        once(worked);
        runningOpeners().remove(opener);
        opener->deleteLater();
    };
    QObject::connect(opener, &QProcess::finished, opener, [end, opener](int code) {
        end(opener->exitStatus() == QProcess::NormalExit && code == 0);
    });
    QObject::connect(opener, &QProcess::errorOccurred, opener, [end](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) end(false);
    });
    QTimer::singleShot(patience, opener, [once] { once(true); });
    opener->start(QStringLiteral("xdg-open"), {target});
}

} // namespace murlo
