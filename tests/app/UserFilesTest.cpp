#include "dictation/delivery/HistoryStore.h"
#include "dictation/recording/KeptRecording.h"
#include "support/JsonFile.h"
#include "tests/harness/FullDisk.h"
#include "tests/harness/Rows.h"
#include "tests/harness/SupportFolder.h"
#include "tests/harness/TestLog.h"

#include <QFileInfo>
#include <QJsonObject>
#include <QSignalSpy>

using namespace murlo;

namespace {

bool isObject(const QJsonDocument& document) {
    return document.isObject();
}

} // namespace

/// The files that the user's settings, texts and recordings are kept in.
class UserFilesTest : public QObject {
    Q_OBJECT

    struct Files : SupportFolder {
        TestLog log{scheduler};
        const JsonFile file{paths.file("data.json"), "test"};

        [[nodiscard]] QJsonArray history() const {
            return QJsonDocument::fromJson(get("history.json")).array();
        }
    };
    std::unique_ptr<Files> m;

private Q_SLOTS:
    void init() {
        m.reset(); // its log before the next one's
        m = std::make_unique<Files>();
    }

    void whatIsWrittenIsReadBackAndForItsOwnerAlone() {
        QVERIFY(m->file.read(isObject).isNull());
        m->put("data.json", "{}");
        QVERIFY(QFile::setPermissions(m->file.path(), QFile::ReadOwner | QFile::ReadOther));
        const QJsonDocument document(QJsonObject{{"name", "ä\n"}, {"list", QJsonArray{1, 2.5}}});
        QVERIFY(m->file.write(document));
        QCOMPARE(m->file.read(isObject), document);
        QCOMPARE(QFileInfo(m->file.path()).permissions() & (QFile::ReadGroup | QFile::ReadOther),
                 QFile::Permissions());
        QCOMPARE(m->names(""), QStringList{"data.json"});
    }

    void aDamagedFileIsSetAsideWhole_data() {
        const Rows<QByteArray, QString> row;
        row("cut off", "[{\"key\": \"secr", "is damaged");
        row("empty", "", "is damaged");
        row("binary", QByteArray("\xff\xfe\x00{}", 5), "is damaged");
        row("more behind its end", "{}{}", "is damaged");
        row("another form", "[1, 2]", "does not have the expected form");
        row("a folder of that name", QByteArray(), "cannot be read");
    }
    void aDamagedFileIsSetAsideWhole() {
        const auto [damaged, reason] = fetch<QByteArray, QString>();
        for (int time = 1; time <= 2; ++time) { // the second is under a name of its own, too
            if (damaged.isNull())
                QVERIFY(QDir().mkpath(m->file.path()));
            else
                m->put("data.json", damaged);
            QVERIFY(m->file.read(isObject).isNull());
            QVERIFY(!QFileInfo::exists(m->file.path()));
            const QStringList aside = m->names("data.json.damaged-");
            QCOMPARE(aside.size(), time);
            for (const QString& name : aside) QCOMPARE(m->get(name), damaged);
            m->scheduler.runPending();
            const QString line = m->log.lines("test: data.json " + reason).value(time - 1);
            QVERIFY2(aside.contains(line.section(", kept as ", 1)), qPrintable(line));
            QVERIFY(!line.contains("secr")); // what was stored may be personal
        }
        QVERIFY(m->file.write(QJsonDocument(QJsonObject())));
        QCOMPARE(m->file.read(isObject), QJsonDocument(QJsonObject()));
    }

    void aWriteThatFailsLeavesTheOldFileWhole() {
        const QJsonDocument old(QJsonObject{{"key", "old"}});
        const QJsonDocument large(QJsonObject{{"key", QString(200000, 'x')}});
        QVERIFY(m->file.write(old));
        {
            const FullDisk full(100000);
            QVERIFY(!m->file.write(large));
        }
        QCOMPARE(m->file.read(isObject), old);
        QCOMPARE(m->names(""), QStringList{"data.json"}); // no half of one is left
        QVERIFY(!JsonFile(m->paths.file("nowhere/data.json"), "test").write(old));
        m->scheduler.runPending();
        QCOMPARE(m->log.lines("test: could not save data.json: ").size(), 2);
        QVERIFY(m->file.write(large));
        QCOMPARE(m->file.read(isObject), large);
    }

    void aRecordingThatFindsNoRoomLeavesTheEarlierOne() {
        KeptRecording(m->paths, *m->disk).keep("first"); // its end waits for the file
        QCOMPARE(m->get("untranscribed.wav"), "first");
        {
            const FullDisk full(100000);
            KeptRecording(m->paths, *m->disk).keep(QByteArray(200000, 'x'));
        }
        QCOMPARE(m->get("untranscribed.wav"), "first");
        QCOMPARE(m->names(""), QStringList{"untranscribed.wav"});
    }

    void anEntryIsTrimmedWrittenAndReadBack() {
        std::optional<HistoryStore> store(std::in_place, m->paths, m->scheduler, *m->disk);
        QSignalSpy changes(&*store, &HistoryStore::entriesChanged);
        store->add("  hello \n");
        store->add(" \n ");
        QCOMPARE(changes.size(), 1);
        const HistoryEntry added = store->entries().first();
        store.reset(); // waits for the file
        const QJsonObject entry = m->history().at(0).toObject();
        QCOMPARE(entry.keys(), (QStringList{"date", "id", "text"}));
        QCOMPARE(entry.value("text").toString(), "hello");
        QCOMPARE(entry.value("date").toString(), "2026-03-14T15:09:26Z");
        QCOMPARE(entry.value("id").toString(), added.id.toString(QUuid::WithoutBraces).toUpper());
        const HistoryStore again(m->paths, m->scheduler, *m->disk);
        QCOMPARE(again.entries().size(), 1);
        QCOMPARE(again.entries().first().id, added.id);
        QCOMPARE(again.entries().first().date, added.date);
    }

    void theNewestFiveHundredStay() {
        HistoryStore store(m->paths, m->scheduler, *m->disk);
        for (int i = 0; i <= HistoryStore::capacity; ++i) store.add(QString::number(i));
        QCOMPARE(store.entries().size(), HistoryStore::capacity);
        QCOMPARE(store.entries().first().text, "500");
        QCOMPARE(store.entries().last().text, "1");
        m->scheduler.runPending();
        QCOMPARE(m->history().size(), HistoryStore::capacity);
        QCOMPARE(store.recent().size(), HistoryStore::mostRecent);
        const HistoryStore again(m->paths, m->scheduler, *m->disk);
        QVERIFY(again.recent().isEmpty()); // of this run alone
    }

    void anHourThatTheClocksLeaveOutIsNoDamage() {
        const QByteArray before = qgetenv("TZ");
        qputenv("TZ", "America/New_York"); // 02:30 did not exist there on that day
        tzset();
        m->put("history.json", R"([{"date":"2026-03-08T02:30:00Z",)"
                               R"("id":"0B4D3A1E-55AA-4C0F-8F0A-0123456789AB","text":"kept"}])");
        const HistoryStore store(m->paths, m->scheduler, *m->disk);
        qputenv("TZ", before);
        tzset();
        QCOMPARE(store.entries().size(), 1);
        QCOMPARE(store.entries().first().date, QDateTime(QDate(2026, 3, 8), QTime(2, 30), Qt::UTC));
    }

    void aFileWithAnEntryThatIsNoneIsSetAside() {
        const QByteArray id = R"([{"id": "0D8E2C1A-5C7F-4B7E-9F55-2A3D6B1C0E4F", )";
        for (const QByteArray& damaged :
             {QByteArray("{}"), QByteArray(R"([{"text": "x", "date": "2026-03-14T15:09:26Z"}])"),
              id + R"("text": "x", "date": "yesterday"}])",
              id + R"("date": "2026-03-14T15:09:26Z"}])"}) {
            init();
            m->put("history.json", damaged);
            HistoryStore store(m->paths, m->scheduler, *m->disk);
            QVERIFY2(store.entries().isEmpty(), damaged);
            store.add("first");
            m->scheduler.runPending();
            QCOMPARE(m->history().size(), 1);
            QCOMPARE(m->names("history.json").size(), 2);
        }
    }

    void theLastFiveAreKeptAndNoneIsGivenUpForOneThatCannotBe() {
        KeptRecording recording(m->paths, *m->disk);
        const auto keep = [&](const QByteArray& wav) {
            recording.keep(wav);
            m->scheduler.runPending();
        };
        const auto kept = [&] {
            QStringList all;
            for (const QString& name : m->names("untranscribed")) all << name + ' ' + m->get(name);
            return all.join(", ").remove("untranscribed").remove(".wav");
        };
        keep({});
        QCOMPARE(kept(), "");
        for (const char* wav : {"A", "B", "C", "D", "E", "F", "G"}) keep(wav);
        QCOMPARE(kept(), "-2 F, -3 E, -4 D, -5 C,  G");
        QCOMPARE(m->log.lines().last(), "dictation: the recording is kept in untranscribed.wav");

        // The place of what is being written is taken: by a folder.
        const QString place = m->paths.file("untranscribed.wav.new");
        QVERIFY(QDir().mkdir(place));
        keep("H");
        QCOMPARE(kept(), "-2 F, -3 E, -4 D, -5 C,  G, .new ");
        QVERIFY(m->log.lines().last().startsWith("dictation: the recording could not be kept: "));
        QVERIFY(QDir().rmdir(place));
        keep("I");
        QCOMPARE(kept(), "-2 G, -3 F, -4 E, -5 D,  I");
    }
};

QTEST_GUILESS_MAIN(UserFilesTest)
#include "UserFilesTest.moc"
