// Copies and pastes on command, one line each on standard input: "copy FILE" (a QDataStream of the
// formats) and "paste FORMAT", answered by one line.

#include "tests/harness/OtherClipboardUser.h"

#include <QClipboard>
#include <QDataStream>
#include <QFile>
#include <QGuiApplication>
#include <QMimeData>
#include <QSocketNotifier>

#include <iostream>
#include <string>

namespace {

QByteArray paste(const QString& format) {
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    if (!data || !data->hasFormat(format)) return "none";
    return murlo::OtherClipboardUser::fingerprint(data->data(format));
}

QByteArray copy(const QString& fileName) {
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) return "no file";
    QDataStream stream(&file);
    murlo::PasteboardItem item;
    stream >> item;
    auto* data = new QMimeData;
    for (const auto& [format, bytes] : item) data->setData(format, bytes);
    QGuiApplication::clipboard()->setMimeData(data);
    return QGuiApplication::clipboard()->ownsClipboard() ? "copied" : "refused";
}

void obey() {
    std::string line;
    if (!std::getline(std::cin, line)) return QCoreApplication::quit();
    // Commands overtake what the X server has sent, and with it the server's time, which goes into
    // every request.
    QGuiApplication::sync();
    const QString command = QString::fromStdString(line);
    const QString argument = command.section(QLatin1Char(' '), 1);
    const bool isCopy = command.startsWith(QLatin1String("copy "));
    std::cout << (isCopy ? copy(argument) : paste(argument)).constData() << std::endl;
}

} // namespace

int main(int argc, char** argv) {
    const QGuiApplication application(argc, argv);
    QSocketNotifier input(0, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &input, [] { obey(); });
    return QCoreApplication::exec();
}
