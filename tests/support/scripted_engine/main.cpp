// Stands in for the speech engine in tests: takes the engine's command line and does what the file
// named by --model tells it. Each line of that file is one instruction, obeyed in order:
//
//   ignore-sigterm        does not end on SIGTERM
//   print TEXT            a line on standard output, sent at once
//   flood MEGABYTES       that much output without a line feed
//   exit CODE             ends
//   hang                  neither listens nor ends
//   answer STATUS TEXT    how every transcription request is answered; well-formed ones only,
//                         others get status 400 and what is wrong with them
//   answer-large MEGABYTES / answer-nothing / answer-never / answer-cut-off
//   crash-on-request      dies by SIGABRT when speech arrives
//
// Then it listens, and answers "/" with a page.
#include "tests/support/ValidatingServer.h"

#include <QCoreApplication>
#include <QFile>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace {

struct Script {
    murlo::ServerAnswer answer{200, R"({"text":" What was said.\n"})"};
    bool crashOnRequest = false;
};

void print(const QByteArray& text) {
    std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stdout);
    std::fflush(stdout);
}

void obey(const QByteArray& line, Script& script) {
    using murlo::ServerAnswer;
    const QByteArray word = line.split(' ').first();
    const QByteArray rest = line.mid(word.size() + 1);
    if (word == "ignore-sigterm") std::signal(SIGTERM, SIG_IGN);
    if (word == "print") print(rest + '\n');
    if (word == "flood") print(QByteArray(rest.toInt() * 1024 * 1024, 'x'));
    if (word == "exit") std::_Exit(rest.toInt());
    if (word == "hang") {
        for (;;) pause();
    }
    if (word == "answer") script.answer = {rest.split(' ').first().toInt(), rest.mid(4)};
    if (word == "answer-large") script.answer.body = QByteArray(rest.toInt() * 1024 * 1024, 'x');
    if (word == "answer-nothing") script.answer.body.clear();
    if (word == "answer-never") script.answer.manner = ServerAnswer::never;
    if (word == "answer-cut-off") script.answer.manner = ServerAnswer::cutOff;
    if (word == "crash-on-request") script.crashOnRequest = true;
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
    Script script;
    const auto lines = file.readAll().split('\n');
    for (const QByteArray& line : lines) obey(line, script);

    murlo::ValidatingServer server;
    server.answer = [&](const murlo::ReceivedRequest& request) -> murlo::ServerAnswer {
        if (request.path == "/") return {200, "<html></html>"};
        if (script.crashOnRequest) std::abort();
        const auto form = murlo::readTranscriptionForm(request);
        if (form.problems.isEmpty()) return script.answer;
        return {400, form.problems.join(QStringLiteral("; ")).toUtf8()};
    };
    const auto port = static_cast<quint16>(option("--port").toUInt());
    if (!server.listen(QHostAddress(option("--host")), port)) return 1;
    return QCoreApplication::exec();
}
