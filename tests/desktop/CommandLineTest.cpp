#include "tests/harness/desktop/TargetApp.h"

#include <QDir>
#include <QImage>
#include <QTest>

using namespace murlo;

namespace {

constexpr int patience = 600'000; // milliseconds, of a build with sanitizers

struct Run {
    int status = -1;
    QString output;
    QString errors;
};

Run runMurlo(const QStringList& arguments, bool display = true) {
    QProcess program;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (!display) environment.remove("DISPLAY");
    program.setProcessEnvironment(environment);
    program.start(MURLO_PROGRAM, arguments);
    if (!program.waitForFinished(patience) || program.exitStatus() != QProcess::NormalExit)
        return {};
    return {program.exitCode(), program.readAllStandardOutput(), program.readAllStandardError()};
}

} // namespace

/// What the program does instead of running.
class CommandLineTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyScreenIsPainted() {
        const QTemporaryDir folder;
        const QDir pictures(folder.filePath("new"));
        const Run run = runMurlo({"--snapshot", pictures.path()}, false);
        QVERIFY2(run.status == 0, qPrintable(run.errors));
        const QStringList names = pictures.entryList({"*.png"});
        QCOMPARE(run.output, QString("%1 pictures\n").arg(names.size())); // no name came twice
        QVERIFY(names.size() > 100);
        const auto picture = [&](const QString& name) {
            return QImage(pictures.filePath(name)).convertToFormat(QImage::Format_ARGB32);
        };
        for (const QString& name : names) {
            const QImage image = picture(name);
            QImage empty = image;
            empty.fill(image.pixelColor(0, 0));
            QVERIFY2(!image.isNull() && image != empty, qPrintable(name));
            if (!name.contains('@'))
                QCOMPARE(picture(name.chopped(4) + "@2x.png").size(), image.size() * 2);
        }
        QVERIFY(picture("german-menu.png") != picture("right-to-left-menu.png"));
    }

    void theProbeTellsOfOtherProgramsBoxes() {
        TargetApp program(TargetApp::Kind::gtkEntry);
        QVERIFY(program.start());
        const Run run = runMurlo({"--probe"});
        QCOMPARE(run.status, 0);
        for (const QString& words :
             {QString("(process %1)").arg(program.pid()), QString("    AXTextField ("),
              QString("\nA "), QString(" real-scan: found=1\n")})
            QVERIFY2(run.output.contains(words), qPrintable(words + " in " + run.output));
    }

    void whatCannotBeDoneIsSaidAndNoSuccess() {
        const QString noDisplay = "DISPLAY is not set";
        const QString notWritten = "the pictures could not be written to /proc/nowhere";
        const std::pair<QStringList, QString> cases[] = {
            {{}, noDisplay},
            {{"--probe"}, noDisplay},
            {{"--enable-accessibility"}, noDisplay},
            {{"--snapshot", "/proc/nowhere"}, notWritten}};
        for (const auto& [arguments, words] : cases) {
            const Run run = runMurlo(arguments, false);
            QCOMPARE(run.status, 1);
            QVERIFY2(run.errors.contains(words), qPrintable(arguments.join(' ')));
            QVERIFY(!run.output.contains("pictures"));
        }
    }
};

QTEST_MAIN(CommandLineTest)
#include "CommandLineTest.moc"
