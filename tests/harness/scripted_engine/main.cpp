// Stands in for the speech engine in tests: takes the engine's command line and does what the file
// named by --model tells it. Each line of that file is one instruction, obeyed in order:
//
//   ignore-sigterm        does not end on SIGTERM
//   print TEXT            a line on standard output, sent at once
//   flood MEGABYTES       that much output without a line feed
//   hang                  neither listens nor ends
//
// Then it listens, and answers "/" with a page.
#include "tests/harness/ValidatingServer.h"

#include <QCoreApplication>
#include <QFile>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace {

void print(const QByteArray& text) {
    std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stdout);
    std::fflush(stdout);
}

void obey(const QByteArray& line) {
    const QByteArray word = line.split(' ').first();
    const QByteArray rest = line.mid(word.size() + 1);
    if (word == "ignore-sigterm") std::signal(SIGTERM, SIG_IGN);
    if (word == "print") print(rest + '\n');
    if (word == "flood") print(QByteArray(rest.toInt() * 1024 * 1024, 'x'));
    if (word == "hang") {
        for (;;) pause();
    }
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    const auto option = [&](const char* name) {
        return arguments.value(arguments.indexOf(QLatin1String(name)) + 1);
    };
    QFile file(option("--model"));
    if (!file.open(QIODevice::ReadOnly)) return 3;
    const auto lines = file.readAll().split('\n');
    for (const QByteArray& line : lines) obey(line);

    murlo::ValidatingServer server;
    server.answer = [](const auto&) { return murlo::ServerAnswer{200, "<html></html>"}; };
    const auto port = static_cast<quint16>(option("--port").toUInt());
    if (!server.listen(QHostAddress(option("--host")), port)) return 1;
    return QCoreApplication::exec();
}
