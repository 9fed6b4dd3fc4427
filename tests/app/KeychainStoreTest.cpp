#include "backend/KeychainStore.h"
#include "tests/fakes/FakeSecretStore.h"
#include "tests/harness/SupportFolder.h"
#include "tests/harness/TestLog.h"

#include <QFileInfo>
#include <QSignalSpy>
#include <QTest>

using namespace murlo;
using enum KeychainStore::Item;

class KeychainStoreTest : public QObject {
    Q_OBJECT

    struct Run {
        Run(SupportFolder& home, FakeSecretStore& secrets, const QString& address = "https://a")
            : keys(secrets, home.paths, *home.disk, home.scheduler, address) {}
        KeychainStore keys;
    };

    static QString shown(const KeyAnswer& answer) {
        if (answer.state == KeyAnswer::present) return answer.key;
        return answer.state == KeyAnswer::absent ? "absent" : "unavailable";
    }

private Q_SLOTS:
    void whatTheKeyringSays_data() {
        QTest::addColumn<QString>("item");
        QTest::addColumn<QString>("refusal");
        QTest::addColumn<double>("delay");
        QTest::addColumn<QString>("key");   // once loaded
        QTest::addColumn<QString>("later"); // a minute after, the keyring being well again
        QTest::newRow("present") << "k"
                                 << "" << 0.1 << "k"
                                 << "k";
        QTest::newRow("absent") << ""
                                << "" << 0.1 << "absent"
                                << "absent";
        QTest::newRow("locked") << "k"
                                << "locked" << 0.0 << "unavailable"
                                << "k";
        QTest::newRow("slow") << "k"
                              << "" << 7.0 << "k"
                              << "k";
        QTest::newRow("hangs") << "k"
                               << "" << FakeSecretStore::never << "unavailable"
                               << "k";
    }
    void whatTheKeyringSays() {
        QFETCH(QString, item);
        SupportFolder home;
        FakeSecretStore secrets(home.scheduler);
        if (!item.isEmpty()) secrets.items["apiKey https://a"] = item;
        QFETCH(QString, refusal);
        QFETCH(double, delay);
        secrets.refusal = refusal;
        secrets.delay = delay;
        Run run(home, secrets);
        QSignalSpy loaded(&run.keys, &KeychainStore::loaded);
        QCOMPARE(shown(run.keys.key()), "unavailable"); // nobody waits for it
        run.keys.load();
        while (loaded.isEmpty() && home.scheduler.uptime() < 1100) home.scheduler.advance(0.5);
        QTEST(shown(run.keys.key()), "key");
        secrets.refusal.clear();
        secrets.delay = 0;
        home.scheduler.advance(60);
        static_cast<void>(run.keys.key()); // asks again
        home.scheduler.advance(1);
        QTEST(shown(run.keys.key()), "later");
        QCOMPARE(loaded.size(), 1);
    }

    void whatItRefusesIsKeptInAFile() {
        SupportFolder home;
        const TestLog log(home.scheduler);
        FakeSecretStore secrets(home.scheduler);
        secrets.items = {{"apiKey https://a", "old"}, {"pendingIdToken https://a", "token"}};
        secrets.refusal = "locked";
        {
            Run run(home, secrets);
            run.keys.load();
            home.scheduler.advance(1);
            run.keys.save(apiKey, "new");
            run.keys.remove(pendingIdToken);
            QCOMPARE(shown(run.keys.key()), "new");
            bool written = false;
            run.keys.whenWritten([&] { written = true; });
            QVERIFY(!written);
            home.scheduler.advance(1);
            QVERIFY(written);
        }
        QCOMPARE(log.lines("account: the keyring has refused a change (locked)").size(), 1);
        QCOMPARE(log.lines().filter("new"), QStringList());
        QVERIFY(home.get("secrets.json").contains("new"));
        const auto others = QFile::ReadGroup | QFile::ReadOther;
        QVERIFY(!(QFileInfo(home.paths.file("secrets.json")).permissions() & others));
        {
            Run again(home, secrets); // still locked
            again.keys.load();
            home.scheduler.advance(1);
            QCOMPARE(shown(again.keys.key()), "new");
            QVERIFY(!again.keys.read(pendingIdToken));
        }
        secrets.refusal.clear();
        Run well(home, secrets);
        well.keys.load();
        home.scheduler.advance(1);
        QCOMPARE(shown(well.keys.key()), "new");
        QCOMPARE(secrets.items, (QMap<QString, QString>{{"apiKey https://a", "new"}}));
        QVERIFY(home.names("secrets.json").isEmpty());
    }

    void eachBackendHasItsOwn() {
        SupportFolder home;
        FakeSecretStore secrets(home.scheduler);
        secrets.items["apiKey https://a"] = "of a";
        for (const auto& [address, key] :
             {std::pair("https://b", "absent"), std::pair("https://a", "of a")}) {
            Run run(home, secrets, address);
            run.keys.load();
            home.scheduler.advance(1);
            QCOMPARE(shown(run.keys.key()), key);
        }
    }

    void whatChangesWhileItReadsIsNewer() {
        SupportFolder home;
        FakeSecretStore secrets(home.scheduler);
        secrets.items["apiKey https://a"] = "old";
        secrets.delay = 3;
        Run run(home, secrets);
        run.keys.load();
        home.scheduler.advance(1);
        run.keys.save(apiKey, "new");
        home.scheduler.advance(30);
        QCOMPARE(shown(run.keys.key()), "new");
        QCOMPARE(secrets.items["apiKey https://a"], "new");
        QCOMPARE(secrets.asked.filter("remove").size(), 0); // replaced in one step
    }

    void aDamagedFileIsSetAside() {
        SupportFolder home;
        FakeSecretStore secrets(home.scheduler);
        home.put("secrets.json", "{\"apiKey");
        Run run(home, secrets);
        run.keys.load();
        home.scheduler.advance(1);
        QCOMPARE(shown(run.keys.key()), "absent");
        QVERIFY(!home.names("secrets.json.").isEmpty());
    }
};

QTEST_GUILESS_MAIN(KeychainStoreTest)
#include "KeychainStoreTest.moc"
