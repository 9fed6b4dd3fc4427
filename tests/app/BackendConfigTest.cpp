#include "backend/BackendConfig.h"
#include "account/AccountHome.h"
#include "settings/Settings.h"
#include "tests/harness/SupportFolder.h"

#include <QTest>

using namespace murlo;

class BackendConfigTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void filesOverrideTheBuild_data() {
        QTest::addColumn<QByteArray>("system");
        QTest::addColumn<QByteArray>("user");
        QTest::addColumn<QString>("backend");
        QTest::addColumn<QString>("token");
        QTest::addColumn<int>("complaints");
        const QString own = "http://127.0.0.1:8757";
        QTest::newRow("nothing") << QByteArray() << QByteArray() << own << own + "/token" << 0;
        QTest::newRow("the system's") << QByteArray("# ours\nbackend = https://a.example/api/\n")
                                      << QByteArray() << "https://a.example/api"
                                      << "https://a.example/api/token" << 0;
        QTest::newRow("the user's on top")
            << QByteArray("backend=https://a.example\ntoken-host=https://t.example")
            << QByteArray("backend = https://b.example") << "https://b.example"
            << "https://t.example/token" << 0;
        QTest::newRow("plain http elsewhere")
            << QByteArray("backend = http://team-server") << QByteArray() << ""
            << "" << 1;
        QTest::newRow("localhost is a name") // whoever answers for names could send it anywhere
            << QByteArray("backend = http://localhost:9") << QByteArray() << ""
            << "" << 1;
        QTest::newRow("IPv6") << QByteArray("backend = http://[::1]:9") << QByteArray()
                              << "http://[::1]:9"
                              << "http://[::1]:9/token" << 0;
        QTest::newRow("with a password")
            << QByteArray("backend = https://me:pw@a.example") << QByteArray() << ""
            << "" << 1;
        QTest::newRow("no address") << QByteArray("backend = :") << QByteArray() << ""
                                    << "" << 1;
        QTest::newRow("unknown lines") << QByteArray("backened = x\nwhat\n\xff\xfe") << QByteArray()
                                       << own << own + "/token" << 3;
    }
    void filesOverrideTheBuild() {
        QFETCH(QByteArray, system);
        QFETCH(QByteArray, user);
        const SupportFolder home;
        home.put("system.conf", system);
        home.put("user.conf", user);
        const auto config = BackendConfig::read(
            {home.paths.file("system.conf"), home.paths.file("user.conf"), "/none.conf"});
        QTEST(config.address(), "backend");
        QTEST(config.tokenEndpoint.toString(), "token");
        QTEST(int(config.complaints.size()), "complaints");
        QCOMPARE(config.isUsable(), !config.address().isEmpty());
    }

    void theCallbackIsMadeOfTheIdentifier() {
        BackendConfig config;
        config.clientIdentifier = "123-abc.apps.example.test";
        config.clientIdentifierSuffix = ".apps.example.test";
        config.redirectSchemePrefix = "test.example.apps.";
        QCOMPARE(config.redirectURI(), "test.example.apps.123-abc:/oauth2redirect");
    }

    void anAccountBelongsToItsBackend() {
        SupportFolder home;
        Settings settings(home.paths, *home.disk);
        const auto email = [&] { return settings.text(SettingKey::accountEmail).value_or("none"); };
        settings.set(SettingKey::accountEmail, "me@a"); // from before addresses were kept
        settleAccount(settings, "https://a");
        QCOMPARE(email(), "me@a");
        settings.set(SettingKey::enhancePrompt, true);
        settleAccount(settings, "https://a");
        settleAccount(settings, ""); // an unusable one
        QVERIFY(settings.truth(SettingKey::enhancePrompt));
        settleAccount(settings, "https://b");
        QCOMPARE(email(), "none");
        QVERIFY(!settings.truth(SettingKey::enhancePrompt));
        settings.set(SettingKey::accountEmail, "me@b");
        settleAccount(settings, "https://a");
        QCOMPARE(email(), "me@a");
        settleAccount(settings, "https://b");
        QCOMPARE(email(), "me@b");
    }
};

QTEST_GUILESS_MAIN(BackendConfigTest)
#include "BackendConfigTest.moc"
