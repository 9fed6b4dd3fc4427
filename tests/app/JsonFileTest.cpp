#include "support/JsonFile.h"
#include "dictation/recording/KeptRecording.h"
#include "platform/Port.h"
#include "tests/harness/SupportFolder.h"
#include "tests/harness/TestLog.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

using namespace murlo;

namespace {

/// While it lives no file grows beyond so many bytes: a disk that gets full in the midst of a
/// write.
class FullDisk : NonCopyable {
public:
    explicit FullDisk(rlim_t bytes) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_before);
        limit(bytes);
    }
    ~FullDisk() { limit(m_before.rlim_cur); }

private:
    void limit(rlim_t bytes) const {
        const rlimit limits{bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limits);
    }
    rlimit m_before{};
};

bool isObject(const QJsonDocument& document) {
    return document.isObject();
}

} // namespace

/// What the settings and the history are kept in, and what a full disk does to the user's files.
class JsonFileTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void whatIsWrittenIsReadBackAndForItsOwnerAlone() {
        const SupportFolder on;
        const JsonFile file(on.paths.file("data.json"), "test");
        QVERIFY(file.read(isObject).isNull());
        on.put("data.json", "{}");
        QVERIFY(QFile::setPermissions(file.path(), QFile::ReadOwner | QFile::ReadOther));
        const QJsonDocument document(QJsonObject{{"name", "ä\n"}, {"list", QJsonArray{1, 2.5}}});
        QVERIFY(file.write(document));
        QCOMPARE(file.read(isObject), document);
        QCOMPARE(QFileInfo(file.path()).permissions() & (QFile::ReadGroup | QFile::ReadOther),
                 QFile::Permissions());
        QCOMPARE(on.names(""), QStringList{"data.json"});
    }

    void aDamagedFileIsSetAsideWhole_data() {
        QTest::addColumn<QByteArray>("damaged"); // null for a folder of that name
        QTest::addColumn<QString>("reason");
        QTest::newRow("cut off") << QByteArray("[{\"key\": \"secr") << "is damaged";
        QTest::newRow("empty") << QByteArray("") << "is damaged";
        QTest::newRow("binary") << QByteArray("\xff\xfe\x00{}", 5) << "is damaged";
        QTest::newRow("more behind its end") << QByteArray("{}{}") << "is damaged";
        QTest::newRow("another form") << QByteArray("[1, 2]") << "does not have the expected form";
        QTest::newRow("no file") << QByteArray() << "cannot be read";
    }
    void aDamagedFileIsSetAsideWhole() {
        QFETCH(QByteArray, damaged);
        QFETCH(QString, reason);
        SupportFolder on;
        const TestLog log(on.scheduler);
        const JsonFile file(on.paths.file("data.json"), "test");
        for (int time = 1; time <= 2; ++time) { // the second is under a name of its own, too
            if (damaged.isNull())
                QVERIFY(QDir().mkpath(file.path()));
            else
                on.put("data.json", damaged);
            QVERIFY(file.read(isObject).isNull());
            QVERIFY(!QFileInfo::exists(file.path()));
            const QStringList aside = on.names("data.json.damaged-");
            QCOMPARE(aside.size(), time);
            for (const QString& name : aside) QCOMPARE(on.get(name), damaged);
            on.scheduler.runPending();
            const QString line = log.lines("test: data.json " + reason).value(time - 1);
            QVERIFY2(aside.contains(line.section(", kept as ", 1)), qPrintable(line));
            QVERIFY(!line.contains("secr")); // what was stored may be personal
        }
        QVERIFY(file.write(QJsonDocument(QJsonObject())));
        QCOMPARE(file.read(isObject), QJsonDocument(QJsonObject()));
    }

    void aWriteThatFailsLeavesTheOldFileWhole() {
        SupportFolder on;
        const TestLog log(on.scheduler);
        const JsonFile file(on.paths.file("data.json"), "test");
        const QJsonDocument old(QJsonObject{{"key", "old"}});
        const QJsonDocument large(QJsonObject{{"key", QString(200000, 'x')}});
        QVERIFY(file.write(old));
        {
            const FullDisk full(100000);
            QVERIFY(!file.write(large));
        }
        QCOMPARE(file.read(isObject), old);
        QCOMPARE(on.names(""), QStringList{"data.json"}); // no half of one is left
        QVERIFY(!JsonFile(on.paths.file("nowhere/data.json"), "test").write(old));
        on.scheduler.runPending();
        QCOMPARE(log.lines("test: could not save data.json: ").size(), 2);
        QVERIFY(file.write(large));
        QCOMPARE(file.read(isObject), large);
    }

    void aRecordingThatFindsNoRoomLeavesTheEarlierOne() {
        const SupportFolder on;
        KeptRecording(on.paths, *on.disk).keep("first"); // its end waits for the file
        QCOMPARE(on.get("untranscribed.wav"), "first");
        {
            const FullDisk full(100000);
            KeptRecording(on.paths, *on.disk).keep(QByteArray(200000, 'x'));
        }
        QCOMPARE(on.get("untranscribed.wav"), "first");
        QCOMPARE(on.names(""), QStringList{"untranscribed.wav"});
    }
};

QTEST_GUILESS_MAIN(JsonFileTest)
#include "JsonFileTest.moc"
