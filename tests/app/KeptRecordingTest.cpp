#include "dictation/recording/KeptRecording.h"
#include "tests/fakes/VirtualScheduler.h"
#include "tests/harness/TestLog.h"

#include <QDir>
#include <QtTest>

using namespace murlo;

class KeptRecordingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theLastFiveAreKeptAndNoneIsGivenUpForOneThatCannotBe() {
        VirtualScheduler scheduler;
        const TestLog log(scheduler);
        const QTemporaryDir folder;
        const QDir support(folder.path());
        const auto disk = scheduler.makeSerialQueue("disk");
        KeptRecording recording(Paths(folder.path()), *disk);
        const auto keep = [&](const QByteArray& wav) {
            recording.keep(wav);
            scheduler.runPending();
        };
        const auto kept = [&] {
            QStringList all;
            for (const QString& name : support.entryList({"untranscribed*"}, QDir::Files)) {
                QFile file(support.filePath(name));
                all << name + (file.open(QIODevice::ReadOnly) ? " " + file.readAll() : "?");
            }
            return all.join(", ").remove("untranscribed").remove(".wav");
        };

        keep({});
        QCOMPARE(kept(), "");
        for (const char* wav : {"A", "B", "C", "D", "E", "F", "G"}) keep(wav);
        QCOMPARE(kept(), "-2 F, -3 E, -4 D, -5 C,  G");
        QCOMPARE(log.lines().last(), "dictation: the recording is kept in untranscribed.wav");
        const auto others = QFile::permissions(support.filePath("untranscribed.wav")) &
                            (QFile::ReadGroup | QFile::ReadOther);
        QCOMPARE(others, QFile::Permissions());

        // The place of what is being written is taken: by a folder.
        QVERIFY(support.mkdir("untranscribed.wav.new"));
        keep("H");
        QCOMPARE(kept(), "-2 F, -3 E, -4 D, -5 C,  G");
        QVERIFY(log.lines().last().startsWith("dictation: the recording could not be kept: "));
        QVERIFY(support.rmdir("untranscribed.wav.new"));
        keep("I");
        QCOMPARE(kept(), "-2 G, -3 F, -4 E, -5 D,  I");
    }
};

QTEST_GUILESS_MAIN(KeptRecordingTest)
#include "KeptRecordingTest.moc"
