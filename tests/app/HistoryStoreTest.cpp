#include "dictation/delivery/HistoryStore.h"
#include "tests/fakes/VirtualScheduler.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace murlo;

class HistoryStoreTest : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<Paths> m_paths;
    VirtualScheduler m_scheduler;
    std::unique_ptr<SerialQueue> m_disk = m_scheduler.makeSerialQueue("test.disk");

    [[nodiscard]] QString file() const { return m_paths->file("history.json"); }
    [[nodiscard]] QJsonArray written() {
        m_scheduler.runPending();
        QFile history(file());
        return history.open(QIODevice::ReadOnly)
                   ? QJsonDocument::fromJson(history.readAll()).array()
                   : QJsonArray();
    }

private Q_SLOTS:
    void init() {
        m_folder = std::make_unique<QTemporaryDir>();
        m_paths = std::make_unique<Paths>(m_folder->path());
    }

    void anEntryIsTrimmedWrittenAndReadBack() {
        HistoryStore store(*m_paths, m_scheduler, *m_disk);
        QSignalSpy changes(&store, &HistoryStore::entriesChanged);
        store.add("  hello \n");
        store.add(" \n ");
        QCOMPARE(changes.size(), 1);
        const QJsonObject entry = written().at(0).toObject();
        QCOMPARE(entry.keys(), (QStringList{"date", "id", "text"}));
        QCOMPARE(entry.value("text").toString(), "hello");
        QCOMPARE(entry.value("date").toString(), "2026-03-14T15:09:26Z");
        const QString id = entry.value("id").toString();
        QCOMPARE(id, id.toUpper());
        const HistoryStore again(*m_paths, m_scheduler, *m_disk);
        QCOMPARE(again.entries().size(), 1);
        QCOMPARE(again.entries().first().id, store.entries().first().id);
        QCOMPARE(again.entries().first().date, store.entries().first().date);
    }

    void anHourThatTheClocksLeaveOutIsNoDamage() {
        const QByteArray before = qgetenv("TZ");
        qputenv("TZ", "America/New_York"); // 02:30 did not exist there on that day
        tzset();
        QFile history(file());
        QVERIFY(history.open(QIODevice::WriteOnly));
        history.write(R"([{"date":"2026-03-08T02:30:00Z",)"
                      R"("id":"0B4D3A1E-55AA-4C0F-8F0A-0123456789AB","text":"kept"}])");
        history.close();
        const HistoryStore store(*m_paths, m_scheduler, *m_disk);
        qputenv("TZ", before);
        tzset();
        QCOMPARE(store.entries().size(), 1);
        QCOMPARE(store.entries().first().date, QDateTime(QDate(2026, 3, 8), QTime(2, 30), Qt::UTC));
    }

    void theNewestFiveHundredStay() {
        HistoryStore store(*m_paths, m_scheduler, *m_disk);
        for (int i = 0; i <= HistoryStore::capacity; ++i) store.add(QString::number(i));
        QCOMPARE(store.entries().size(), HistoryStore::capacity);
        QCOMPARE(store.entries().first().text, "500");
        QCOMPARE(store.entries().last().text, "1");
        QCOMPARE(written().size(), HistoryStore::capacity);
        QCOMPARE(store.recent().size(), HistoryStore::mostRecent);
        QVERIFY(
            HistoryStore(*m_paths, m_scheduler, *m_disk).recent().isEmpty()); // of this run alone
    }

    void aDamagedFileIsSetAsideAndTheNextEntryBeginsAnew_data() {
        QTest::addColumn<QByteArray>("damaged");
        const QByteArray id = R"([{"id": "0D8E2C1A-5C7F-4B7E-9F55-2A3D6B1C0E4F", )";
        QTest::newRow("no JSON") << QByteArray("[{\"id\": ");
        QTest::newRow("an object") << QByteArray("{}");
        QTest::newRow("a bad date") << id + R"("text": "x", "date": "yesterday"}])";
        QTest::newRow("no id") << QByteArray(R"([{"text": "x", "date": "2026-03-14T15:09:26Z"}])");
        QTest::newRow("a missing text") << id + R"("date": "2026-03-14T15:09:26Z"}])";
    }
    void aDamagedFileIsSetAsideAndTheNextEntryBeginsAnew() {
        QFETCH(QByteArray, damaged);
        QFile before(file());
        QVERIFY(before.open(QIODevice::WriteOnly));
        before.write(damaged);
        before.close();
        HistoryStore store(*m_paths, m_scheduler, *m_disk);
        QVERIFY(store.entries().isEmpty());
        store.add("first");
        QCOMPARE(written().size(), 1);
        const QStringList aside = QDir(m_paths->support()).entryList({"history.json.damaged-*"});
        QCOMPARE(aside.size(), 1);
        QFile kept(m_paths->file(aside.first()));
        QVERIFY(kept.open(QIODevice::ReadOnly));
        QCOMPARE(kept.readAll(), damaged);
    }
};

QTEST_GUILESS_MAIN(HistoryStoreTest)
#include "HistoryStoreTest.moc"
