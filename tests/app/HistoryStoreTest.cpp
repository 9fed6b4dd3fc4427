#include "dictation/delivery/HistoryStore.h"
#include "tests/harness/SupportFolder.h"

#include <QJsonObject>
#include <QSignalSpy>
#include <QTest>

using namespace murlo;

namespace {

const QString file = "history.json";

QJsonArray written(const SupportFolder& on) {
    return QJsonDocument::fromJson(on.get(file)).array();
}

} // namespace

class HistoryStoreTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void anEntryIsTrimmedWrittenAndReadBack() {
        SupportFolder on;
        std::optional<HistoryStore> store(std::in_place, on.paths, on.scheduler, *on.disk);
        QSignalSpy changes(&*store, &HistoryStore::entriesChanged);
        store->add("  hello \n");
        store->add(" \n ");
        QCOMPARE(changes.size(), 1);
        const HistoryEntry added = store->entries().first();
        store.reset(); // waits for the file
        const QJsonObject entry = written(on).at(0).toObject();
        QCOMPARE(entry.keys(), (QStringList{"date", "id", "text"}));
        QCOMPARE(entry.value("text").toString(), "hello");
        QCOMPARE(entry.value("date").toString(), "2026-03-14T15:09:26Z");
        QCOMPARE(entry.value("id").toString(), added.id.toString(QUuid::WithoutBraces).toUpper());
        const HistoryStore again(on.paths, on.scheduler, *on.disk);
        QCOMPARE(again.entries().size(), 1);
        QCOMPARE(again.entries().first().id, added.id);
        QCOMPARE(again.entries().first().date, added.date);
    }

    void theNewestFiveHundredStay() {
        SupportFolder on;
        HistoryStore store(on.paths, on.scheduler, *on.disk);
        for (int i = 0; i <= HistoryStore::capacity; ++i) store.add(QString::number(i));
        QCOMPARE(store.entries().size(), HistoryStore::capacity);
        QCOMPARE(store.entries().first().text, "500");
        QCOMPARE(store.entries().last().text, "1");
        on.scheduler.runPending();
        QCOMPARE(written(on).size(), HistoryStore::capacity);
        QCOMPARE(store.recent().size(), HistoryStore::mostRecent);
        const HistoryStore again(on.paths, on.scheduler, *on.disk);
        QVERIFY(again.recent().isEmpty()); // of this run alone
    }

    void anHourThatTheClocksLeaveOutIsNoDamage() {
        const QByteArray before = qgetenv("TZ");
        qputenv("TZ", "America/New_York"); // 02:30 did not exist there on that day
        tzset();
        SupportFolder on;
        on.put(file, R"([{"date":"2026-03-08T02:30:00Z",)"
                     R"("id":"0B4D3A1E-55AA-4C0F-8F0A-0123456789AB","text":"kept"}])");
        const HistoryStore store(on.paths, on.scheduler, *on.disk);
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
            SupportFolder on;
            on.put(file, damaged);
            HistoryStore store(on.paths, on.scheduler, *on.disk);
            QVERIFY2(store.entries().isEmpty(), damaged);
            store.add("first");
            on.scheduler.runPending();
            QCOMPARE(written(on).size(), 1);
            QCOMPARE(on.names(file).size(), 2);
        }
    }
};

QTEST_GUILESS_MAIN(HistoryStoreTest)
#include "HistoryStoreTest.moc"
