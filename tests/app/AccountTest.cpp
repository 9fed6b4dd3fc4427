#include "tests/harness/AccountRig.h"
#include "tests/harness/Rows.h"

#include <QJsonDocument>

using namespace murlo;

/// Every way from one state of an account to another, as a script of what happens; and the
/// enhancer, which needs an account.
class AccountTest : public QObject {
    Q_OBJECT

    std::unique_ptr<AccountRig> m_rig;
    std::optional<QString> m_text; ///< what the enhancer made of a text

    void happens(const QString& step) {
        AccountRig& rig = *m_rig;
        const auto refuse = [&](const QString& key) {
            rig.refused.note({AccountError::unauthorized, key.isEmpty() ? 0 : 401, key, {}});
        };
        const auto grant = [&](const QString& key) {
            rig.backendAnswers("/signup", 200, {{"apiKey", key}});
        };
        const std::map<QString, std::function<void()>> steps{
            {"start", [&] { rig.start(); }},
            {"signin", [&] { rig.account.signIn(); }},
            {"browser", [&] { rig.browserAnswers(); }},
            {"provider", [&] { rig.providerAnswers(); }},
            {"other", [&] { rig.providerAnswers("other@example.com"); }},
            {"token", [&] { happens("signin browser provider"); }},
            {"key1", [&] { grant("key-1"); }},
            {"key2", [&] { grant("key-2"); }},
            {"401", [&] { rig.backendAnswers("/signup", 401); }},
            {"503", [&] { rig.backendAnswers("/signup", 503); }},
            {"offline", [&] { rig.network.fail("no route"); }},
            {"network",
             [&] {
                 rig.reachability.comeBack();
                 rig.scheduler.advance(4);
                 rig.reachability.comeBack();
                 rig.scheduler.advance(6);
             }},
            {"900", [&] { rig.scheduler.advance(900); }},
            {"600", [&] { rig.scheduler.advance(600); }},
            {"cancel", [&] { rig.account.cancelSignIn(); }},
            {"logout", [&] { rig.account.signOut(); }},
            {"revoke1", [&] { refuse("key-1"); }},
            {"revoke2", [&] { refuse("key-2"); }},
            {"nokey", [&] { refuse({}); }},
            {"locked", [&] { rig.secrets.refusal = "locked"; }},
            {"unlocked", [&] { rig.secrets.refusal.clear(); }},
        };
        for (const QString& one : step.split(' ')) {
            steps.at(one)();
            rig.scheduler.runPending();
            rig.scheduler.advance(0.01);
        }
    }

    /// Has a text enhanced, with an account and the wish for it.
    void enhance() {
        happens("start token key1");
        m_rig->settings.set(SettingKey::enhancePrompt, true);
        ask();
    }
    void ask() {
        m_text.reset();
        m_rig->enhancer.enhance("as spoken", "org.example.mail",
                                [this](const QString& text) { m_text = text; });
        QVERIFY(!m_text); // never during the call
        m_rig->scheduler.runPending();
    }
    static QByteArray reply(const QString& text) {
        return QJsonDocument(QJsonObject{{"text", text}}).toJson();
    }

private Q_SLOTS:
    void init() {
        m_rig.reset(); // its log before the next one's
        m_rig = std::make_unique<AccountRig>();
    }

    void everyTransition_data() {
        // The state; what was told, i: signed in, o: signed out, !: a sign-in failed; a line of the
        // log; the reason of a sign-out.
        const Rows<QString, QString, QString, QString> row;
        const auto* const in = "account: signed in as me@example.com";
        const auto* const put = "account: signup deferred: server error 503";
        row("start", "signed out", "");
        row("start signin", "signed out", ""); // whatever it waits for, the program can end
        row("start signin browser", "signed out", "");
        row("start token", "key 0, token 1, e-mail 1, signed in 0", ""); // not before the end
        row("start token key1", "signed in", "i", in);
        row("start token key1 token", "key 1, token 1, e-mail 1, signed in 1", "i", in);
        row("start token 503", "deferred", "i", put);
        row("start token 401", "deferred", "i", "account: signup deferred: not authorized");
        row("start token offline", "deferred", "i",
            "account: signup deferred: network unavailable");
        row("start signin cancel", "signed out", "!");
        row("start signin 600", "signed out", "!");
        row("start signin browser offline", "signed out", "!");
        row("start token 503 900 key1", "signed in", "i", "account: deferred signup completed");
        row("start token 503 network key1", "signed in", "i");
        row("start token key1 network", "signed in", "i");
        row("start token 503 900 503", "deferred", "i", put);
        row("start token 503 900 503 900 key1", "signed in", "i");
        row("start token 503 900 401", "signed out", "io",
            "errors: signup_deferred: worker unreachable at signup", "signupIncomplete");
        row("start token key1 revoke1", "signed out", "io",
            "account: api key revoked server-side, signed out locally", "revokedElsewhere");
        row("start token key1 nokey", "signed in", "i");
        row("start token 503 nokey", "deferred", "i");
        row("start token key1 logout", "signed out", "io", "account: signed out");
        row("start token 503 logout 900", "signed out", "io", "account: signed out");
        // What was sent with an older key says nothing about the newer one.
        row("start token key1 token key2 revoke1", "signed in", "i");
        row("start token key1 token revoke1 503", "deferred", "i", put);
        row("start token key1 token key2 revoke2", "signed out", "io", "", "revokedElsewhere");
        row("start token key1 logout revoke1", "signed out", "io");
        // Only one sign-up at a time, and the newest wish counts.
        row("start signin signin browser provider key1", "signed in", "i");
        row("start token logout key1", "signed out", "");
        row("start signin logout browser provider", "signed out", "");
        row("start token 503 900 signin browser other key2 key1", "signed in", "i",
            "account: signed in as other@example.com");
        row("start token 503 900 signin browser other", "deferred",
            "i"); // and the older token is out of the backend's way
        row("start token 503 900 logout key1", "signed out", "io");
        row("start token key1 revoke1 token key2", "signed in", "ioi"); // and the reason is gone
        // The keyring may be unavailable, which signs nobody out.
        row("locked start token key1", "signed in", "i", in);
        row("start token key1 locked logout", "signed out", "io");
    }
    void everyTransition() {
        const auto [state, told, line, reason] = fetch<QString, QString, QString, QString>();
        AccountManager& account = m_rig->account;
        QString heard;
        connect(&account, &AccountManager::signedIn, this, [&] { heard += 'i'; });
        connect(&account, &AccountManager::signedOut, this, [&] { heard += 'o'; });
        connect(&account, &AccountManager::signInFailed, this, [&] { heard += '!'; });
        happens(QTest::currentDataTag());
        QCOMPARE(m_rig->state(), state);
        QCOMPARE(heard, told);
        QVERIFY(m_rig->waiting().count("/signup") <= 1);
        QVERIFY2(line.isEmpty() || m_rig->log.lines().contains(line),
                 qPrintable(m_rig->log.lines().join('\n')));
        const auto stored = account.reasons().consume();
        QCOMPARE(stored ? rawValue(*stored) : QString(), reason);
        QVERIFY(!account.reasons().consume()); // told once
        for (const char* secret : {"key-1", "key-2", "the-code", "e30."})
            QVERIFY(m_rig->log.lines().filter(secret).isEmpty());
    }

    void aStartGoesOnWhereTheLastEnded_data() {
        // The state, and that after a sign-up that succeeds, if one is asked for.
        const Rows<QString, QString> row; // by what there is
        row("key email", "signed in", "signed in");
        row("token email", "deferred", "signed in");
        row("token", "key 0, token 1, e-mail 0, signed in 0", "signed in"); // amid a sign-up
        const auto* const lost = "key 1, token 0, e-mail 0, signed in 1";   // the settings are
        row("key", lost, lost);
        // A copied home, or another keyring: nobody is signed out, but asked to sign in.
        const auto* const bare = "key 0, token 0, e-mail 1, signed in 1";
        row("email", bare, bare);
        row("silent token email", "key 0, token 0, e-mail 1, signed in 1", "signed in");
    }
    void aStartGoesOnWhereTheLastEnded() {
        const auto [state, then] = fetch<QString, QString>();
        const QStringList there = QString(QTest::currentDataTag()).split(' ');
        const QStringList names = KeychainStore::names(m_rig->config.address());
        if (there.contains("key")) m_rig->secrets.items[names[0]] = "key-1";
        if (there.contains("token"))
            m_rig->secrets.items[names[1]] = AccountRig::token("me@example.com");
        const bool email = there.contains("email");
        if (email) m_rig->settings.set(SettingKey::accountEmail, "me@example.com");
        if (there.contains("silent")) m_rig->secrets.refusal = "locked";
        QCOMPARE(m_rig->account.isSignedIn(), email); // nobody waits for the keyring
        happens("start");
        QCOMPARE(m_rig->state(), state);
        QCOMPARE(m_rig->account.lacksKey(), there == QStringList("email"));
        happens("unlocked 900"); // a keyring that was silent is asked again
        m_rig->backendAnswers("/signup", 200, {{"apiKey", "key-1"}});
        m_rig->scheduler.advance(0.01);
        QCOMPARE(m_rig->state(), then);
        QCOMPARE(m_rig->inKeyring(KeychainStore::apiKey),
                 there == QStringList("email") ? "" : "key-1");
        QCOMPARE(m_rig->inKeyring(KeychainStore::pendingIdToken), "");
    }

    void tellsWhereTheTextGoes() {
        enhance();
        const HttpRequest sent = m_rig->network.waiting().value(0);
        QCOMPARE(QJsonDocument::fromJson(sent.body).object(),
                 QJsonObject({{"text", "as spoken"}, {"targetApp", "org.example.mail"}}));
        m_rig->scheduler.advance(1.234);
        m_rig->network.answer(200, reply(QString(80, 'x')));
        QCOMPARE(*m_text, QString(80, 'x'));
        m_rig->scheduler.runPending();
        QVERIFY(m_rig->log.lines().contains("enhance: 9 → 80 chars in 1.23s"));
        QCOMPARE(m_rig->log.lines().filter("spoken"), QStringList());
    }

    void theReplyIsForeignInput_data() {
        // The status, 0 without an answer, and the body; the text and the beginning of a log's
        // line.
        const Rows<int, QByteArray, QString, QString> row;
        const auto* const spoken = "as spoken";
        const auto* const done = "enhance: 9 → ";
        row("as it came", 200, reply(" Hello\n "), " Hello\n ", done);
        row("blank", 200, reply("   \n"), spoken);
        row("empty", 200, reply(""), spoken);
        row("control characters", 200, reply("a\x1b[201~b\tc\r\n\x7f\u009b!"), "a[201~b\tc\n!",
            done);
        row("long", 200, reply(QString(20000, 'x')), QString(20000, 'x'), done);
        row("absurd", 200, reply(QString(20001, 'x')), spoken);
        row("no answer", 0, "", spoken, "enhance: skipped: network unavailable");
        row("204", 204, "", spoken, "enhance: skipped: server error 204");
        row("no text", 200, R"({"text":3})", spoken, "enhance: skipped: unexpected reply");
        row("401", 401, "", spoken, "account: api key revoked server-side, signed out locally");
    }
    void theReplyIsForeignInput() {
        const auto [status, body, text, line] = fetch<int, QByteArray, QString, QString>();
        enhance();
        QVERIFY(status ? m_rig->network.answer(status, body) : m_rig->network.fail("gone"));
        QCOMPARE(*m_text, text);
        m_rig->scheduler.runPending();
        QVERIFY(!m_rig->log.lines(line).isEmpty());
        QCOMPARE(m_rig->state(), status == 401 ? "signed out" : "signed in");
    }

    void threeSecondsAreTheLimit() {
        enhance();
        m_rig->scheduler.advance(2.999);
        QVERIFY(!m_text);
        const auto before = m_rig->log.lines();
        m_rig->scheduler.advance(0.001);
        QCOMPARE(*m_text, "as spoken");
        QVERIFY(m_rig->network.waiting().isEmpty()); // given up
        m_rig->scheduler.runPending();
        QCOMPARE(m_rig->log.lines(), before);
    }

    void askedOnlyWhenItIsOn() {
        happens("start token key1");
        ask();
        QCOMPARE(*m_text, "as spoken");
        m_rig->settings.set(SettingKey::enhancePrompt, true);
        happens("logout");
        ask();
        QCOMPARE(*m_text, "as spoken");
        QVERIFY(m_rig->network.waiting().isEmpty());
    }

    void thePickedBoxGoesBeforeTheFrontmostProgram() {
        auto& running = m_rig->applications.running;
        running[7].identifier = "org.example.picked";
        running[8].identifier = "org.example.front";
        m_rig->applications.frontmost = 8;
        InputTarget picked;
        picked.pid = 7;
        const PromptEnhancer& enhancer = m_rig->enhancer;
        QCOMPARE(enhancer.targetBundleId(picked), "org.example.picked");
        QCOMPARE(enhancer.targetBundleId({}), "org.example.front");
        picked.pid = 9;
        QCOMPARE(enhancer.targetBundleId(picked), "org.example.front");
        m_rig->applications.frontmost.reset();
        QVERIFY(!enhancer.targetBundleId(picked));
    }
};

QTEST_GUILESS_MAIN(AccountTest)
#include "AccountTest.moc"
