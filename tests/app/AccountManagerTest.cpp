#include "tests/harness/AccountRig.h"

#include <QSignalSpy>
#include <QTest>

using namespace murlo;

/// Every way from one state of an account to another, as a script of what happens.
class AccountManagerTest : public QObject {
    Q_OBJECT

    std::unique_ptr<AccountRig> m_rig;

    void happens(const QString& step) {
        AccountRig& rig = *m_rig;
        const auto signup = [&](int status, const QJsonObject& body = {}) {
            rig.backendAnswers("/signup", status, body);
        };
        const std::map<QString, std::function<void()>> steps{
            {"start", [&] { rig.start(); }},
            {"signin", [&] { rig.account.signIn(); }},
            {"browser", [&] { rig.browserAnswers(); }},
            {"provider", [&] { rig.providerAnswers(); }},
            {"other", [&] { rig.providerAnswers("other@example.com"); }},
            {"token", [&] { happens("signin browser provider"); }},
            {"key1",
             [&] {
                 signup(200, {{"apiKey", "key-1"}});
             }},
            {"key2",
             [&] {
                 signup(200, {{"apiKey", "key-2"}});
             }},
            {"401", [&] { signup(401); }},
            {"503", [&] { signup(503); }},
            {"offline", [&] { rig.network.fail("no route"); }},
            {"900", [&] { rig.scheduler.advance(900); }},
            {"600", [&] { rig.scheduler.advance(600); }},
            {"cancel", [&] { rig.account.cancelSignIn(); }},
            {"logout", [&] { rig.account.signOut(); }},
            {"revoke1",
             [&] {
                 rig.refused.note({AccountError::unauthorized, 401, "key-1", {}});
             }},
            {"revoke2",
             [&] {
                 rig.refused.note({AccountError::unauthorized, 401, "key-2", {}});
             }},
            {"nokey",
             [&] {
                 rig.refused.note({AccountError::unauthorized, 0, {}, {}});
             }},
            {"locked", [&] { rig.secrets.refusal = "locked"; }},
            {"unlocked", [&] { rig.secrets.refusal.clear(); }},
        };
        for (const QString& one : step.split(' ')) {
            if (const auto found = steps.find(one); found != steps.end())
                found->second();
            else
                qFatal("no step %s", qPrintable(one));
            rig.scheduler.runPending();
            rig.scheduler.advance(0.01);
        }
    }

private Q_SLOTS:
    void init() {
        m_rig.reset(); // its log before the next one's
        m_rig = std::make_unique<AccountRig>();
    }

    void everyTransition_data() {
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("told"); // i: signed in, o: signed out, !: a sign-in failed
        QTest::addColumn<QString>("line"); // of the log
        QTest::addColumn<QString>("reason");
        const auto row = [](const char* steps, const char* state, const char* told,
                            const char* line = "", const char* reason = "") {
            QTest::newRow(steps) << state << told << line << reason;
        };
        const auto* const in = "account: signed in as me@example.com";
        const auto* const put = "account: signup deferred: server error 503";
        row("start", "signed out", "");
        row("start token", "key 0, token 1, e-mail 1, signed in 0", ""); // not before the end
        row("start token key1", "signed in", "i", in);
        row("start token 503", "deferred", "i", put);
        row("start token 401", "deferred", "i", "account: signup deferred: not authorized");
        row("start token offline", "deferred", "i",
            "account: signup deferred: network unavailable");
        row("start signin cancel", "signed out", "!");
        row("start signin 600", "signed out", "!");
        row("start signin browser offline", "signed out", "!");
        row("start token 503 900 key1", "signed in", "i", "account: deferred signup completed");
        row("start token 503 900 503", "deferred", "i", put);
        row("start token 503 900 503 900 key1", "signed in", "i");
        row("start token 503 900 401", "signed out", "io",
            "errors: signup_deferred: "
            "worker unreachable at signup",
            "signupIncomplete");
        row("start token key1 revoke1", "signed out", "io",
            "account: api key revoked server-side, signed out locally", "revokedElsewhere");
        row("start token key1 nokey", "signed in", "i");
        row("start token 503 nokey", "deferred", "i");
        row("start token key1 logout", "signed out", "io", "account: signed out");
        row("start token 503 logout 900", "signed out", "io", "account: signed out");
        // What was sent with an older key says nothing about the newer one.
        row("start token key1 token key2 revoke1", "signed in", "i");
        row("start token key1 token key2 revoke2", "signed out", "io", "", "revokedElsewhere");
        row("start token key1 logout revoke1", "signed out", "io");
        // Only one sign-up at a time, and the newest wish counts.
        row("start signin signin browser provider key1", "signed in", "i");
        row("start token logout key1", "signed out", "");
        row("start signin logout browser provider", "signed out", "");
        row("start token 503 900 signin browser other key2 key1", "signed in", "i",
            "account: signed in as other@example.com");
        row("start token 503 900 logout key1", "signed out", "io");
        row("start token key1 revoke1 token key2", "signed in", "ioi"); // and the reason is gone
        // The keyring may be unavailable, which signs nobody out.
        row("locked start token key1", "signed in", "i", in);
        row("start token key1 locked logout", "signed out", "io");
    }
    void everyTransition() {
        QFETCH(QString, told);
        QString heard;
        const AccountManager& account = m_rig->account;
        connect(&account, &AccountManager::signedIn, this, [&] { heard += 'i'; });
        connect(&account, &AccountManager::signedOut, this, [&] { heard += 'o'; });
        connect(&account, &AccountManager::signInFailed, this, [&] { heard += '!'; });
        happens(QTest::currentDataTag());
        QTEST(m_rig->state(), "state");
        QCOMPARE(heard, told);
        QFETCH(QString, line);
        QVERIFY2(line.isEmpty() || m_rig->log.lines().contains(line),
                 qPrintable(m_rig->log.lines().join('\n')));
        QFETCH(QString, reason);
        const auto stored = m_rig->account.reasons().consume();
        QCOMPARE(stored ? rawValue(*stored) : QString(), reason);
        QVERIFY(!m_rig->account.reasons().consume()); // told once
        for (const char* secret : {"key-1", "key-2", "the-code", "e30."})
            QVERIFY(m_rig->log.lines().filter(secret).isEmpty());
    }

    void aStartGoesOnWhereTheLastEnded_data() {
        QTest::addColumn<bool>("key");
        QTest::addColumn<bool>("token");
        QTest::addColumn<bool>("email");
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("then"); // after a sign-up that succeeds, if one is asked for
        QTest::newRow("signed in") << true << false << true << "signed in"
                                   << "signed in";
        QTest::newRow("deferred") << false << true << true << "deferred"
                                  << "signed in";
        QTest::newRow("ended in the middle of a sign-up")
            << false << true << false << "key 0, token 1, e-mail 0, signed in 0"
            << "signed in";
        QTest::newRow("the settings were lost")
            << true << false << false << "key 1, token 0, e-mail 0, signed in 1"
            << "key 1, token 0, e-mail 0, signed in 1";
    }
    void aStartGoesOnWhereTheLastEnded() {
        QFETCH(bool, key);
        QFETCH(bool, token);
        QFETCH(bool, email);
        const QStringList names = KeychainStore::names(m_rig->config.address());
        if (key) m_rig->secrets.items[names[0]] = "key-1";
        if (token) m_rig->secrets.items[names[1]] = AccountRig::token("me@example.com");
        if (email) m_rig->settings.set(SettingKey::accountEmail, "me@example.com");
        QCOMPARE(m_rig->account.isSignedIn(), email); // nobody waits for the keyring
        happens("start");
        QTEST(m_rig->state(), "state");
        m_rig->backendAnswers("/signup", 200, {{"apiKey", "key-1"}});
        m_rig->scheduler.advance(0.01);
        QTEST(m_rig->state(), "then");
        QCOMPARE(m_rig->inKeyring(KeychainStore::apiKey), "key-1");
        QCOMPARE(m_rig->inKeyring(KeychainStore::pendingIdToken), "");
    }

    void whateverItWaitsForItCanEnd() {
        for (const char* steps : {"start signin", "start signin browser", "start token",
                                  "start token 503 900", "start token key1 token"}) {
            init();
            happens(steps);
            m_rig.reset(); // the sanitizers see to what is left behind
        }
        QVERIFY(!m_rig);
    }
};

QTEST_GUILESS_MAIN(AccountManagerTest)
#include "AccountManagerTest.moc"
