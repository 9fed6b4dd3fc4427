#include "support/Log.h"
#include "platform/linux/qt/QtScheduler.h"
#include "support/Paths.h"
#include "tests/harness/Files.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <thread>

using namespace murlo;

class LogTest : public QObject {
    Q_OBJECT

    QtScheduler m_scheduler;
    std::unique_ptr<SerialQueue> m_disk = m_scheduler.makeSerialQueue("test.disk");

private Q_SLOTS:
    void linesOfSeveralThreadsGoWholeAndInOrderBehindWhatWasThere() {
        const QTemporaryDir folder;
        const Paths paths(folder.filePath("deep/support"));
        QVERIFY(paths.prepare());
        const QString file = paths.file("brisvane.log");
        putFile(file, "before\n");
        Log::open(paths, *m_disk);
        const auto writer = [](const QString& name) {
            for (int i = 0; i < 50; ++i) Log::write(QStringLiteral("%1: %2").arg(name).arg(i));
        };
        std::thread other([&] { writer("b"); });
        writer("a");
        other.join();
        Log::write("area: two\nlines");
        Log::close();
        Log::write("area: not in the file");
        const QStringList lines = QString::fromUtf8(contentOf(file)).split('\n');
        QCOMPARE(lines.size(), 103); // the last is empty, behind the last line feed
        QCOMPARE(lines.first(), "before");
        QVERIFY(lines.at(101).endsWith("area: two lines"));
        static const QRegularExpression form(R"(^\[\d\d:\d\d:\d\d\.\d{3}\] ([ab]): (\d+)$)");
        QMap<QString, int> next;
        for (int i = 0; i < 100; ++i) {
            const auto match = form.match(lines.at(1 + i));
            QVERIFY2(match.hasMatch(), qPrintable(lines.at(1 + i)));
            QCOMPARE(match.captured(2).toInt(), next[match.captured(1)]++);
        }
        QVERIFY(!(QFile::permissions(file) & (QFile::ReadOther | QFile::ReadGroup)));
    }

    void aFileThatCannotBeOpenedSilencesTheFileAlone() {
        Log::open(Paths("/proc/murlo-cannot-be-here"), *m_disk);
        Log::write("area: still running");
        Log::close();
    }
};

QTEST_GUILESS_MAIN(LogTest)
#include "LogTest.moc"
