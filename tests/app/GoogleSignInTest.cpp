#include "account/GoogleSignIn.h"
#include "MurloKit/Base64Url.h"
#include "look/Words.h"
#include "tests/harness/AccountRig.h"

#include <QTest>
#include <QUrlQuery>

using namespace murlo;

class GoogleSignInTest : public QObject {
    Q_OBJECT

    std::unique_ptr<AccountRig> m_rig;
    std::unique_ptr<GoogleSignIn> m_signIn;
    std::optional<GoogleSignIn::Result> m_result;

    void start() {
        m_signIn->start().then([this](const GoogleSignIn::Result& result) { m_result = result; });
        m_rig->scheduler.runPending();
    }
    [[nodiscard]] QString outcome() const {
        if (!m_result) return "waits";
        if (*m_result) return (*m_result)->payload.email;
        const SignInError& error = m_result->error();
        return Words::english(error.message(m_rig->config.providerName));
    }

private Q_SLOTS:
    void init() {
        m_result.reset();
        m_signIn.reset();
        m_rig = std::make_unique<AccountRig>();
        m_signIn =
            std::make_unique<GoogleSignIn>(m_rig->browser, m_rig->network, m_rig->config, [] {
                return PKCE{"the+verifier", "the-challenge"};
            });
    }
    void cleanup() { m_signIn.reset(); }

    void asksAsInstalledApplicationsDo() {
        start();
        QCOMPARE(m_rig->urlScheme.claimed, QStringList{"com.example.apps.123-abc"});
        QCOMPARE(m_rig->desktop.opened.value(0),
                 "https://accounts.example.com/o/oauth2/v2/auth?client_id=123-abc.apps.example.com"
                 "&redirect_uri=com.example.apps.123-abc:/oauth2redirect&response_type=code"
                 "&scope=openid%20email%20profile&code_challenge=the-challenge"
                 "&code_challenge_method=S256");
        m_rig->browserAnswers("state=x&code=a%2Bb%26c/d%C3%A9&code=second");
        const HttpRequest sent = m_rig->network.sent().value(0);
        QCOMPARE(sent.method, "POST");
        QCOMPARE(sent.url, QUrl("https://oauth2.example.com/token"));
        QCOMPARE(sent.timeout, 60.0);
        QCOMPARE(sent.headers,
                 QList<HttpHeader>({{"Content-Type", "application/x-www-form-urlencoded"}}));
        QCOMPARE(sent.body, "client_id=123-abc.apps.example.com&code=a%2Bb%26c/d%C3%A9"
                            "&code_verifier=the%2Bverifier&grant_type=authorization_code"
                            "&redirect_uri=com.example.apps.123-abc:/oauth2redirect");
        m_rig->providerAnswers();
        QCOMPARE(outcome(), "me@example.com");
        QVERIFY(!m_rig->browser.isWaiting());
    }

    void answersOfTheProvider_data() {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("outcome");
        const QString bad = "Example returned something unexpected. Try again.";
        const auto token = [](const QByteArray& claims) {
            return "{\"id_token\":\"h." + base64Url(claims).toUtf8() + ".s\"}";
        };
        QTest::newRow("a token") << token(R"({"sub":"1","email":"a@b"})") << "a@b";
        QTest::newRow("a numeric name") << token(R"({"sub":"1","email":"a@b","name":3})") << "a@b";
        QTest::newRow("no address") << token(R"({"sub":"1"})") << bad;
        QTest::newRow("numeric claims") << token(R"({"sub":1,"email":"a@b"})") << bad;
        QTest::newRow("no object") << token("[]") << bad;
        QTest::newRow("four pieces") << QByteArray(R"({"id_token":"a.e30.b.c"})") << bad;
        QTest::newRow("an empty piece") << QByteArray(R"({"id_token":"a..b"})") << bad;
        QTest::newRow("no base64") << QByteArray(R"({"id_token":"a.%%%%.b"})") << bad;
        QTest::newRow("no token") << QByteArray(R"({"error":"invalid_grant"})") << bad;
        QTest::newRow("no JSON") << QByteArray("<html>\xff") << bad;
        QTest::newRow("deep") << QByteArray(100000, '[') << bad;
    }
    void answersOfTheProvider() {
        QFETCH(QByteArray, body);
        start();
        m_rig->browserAnswers();
        m_rig->network.answer(400, body, "/token"); // whatever the status
        QTEST(outcome(), "outcome");
    }

    void endsInWords_data() {
        QTest::addColumn<std::function<void(AccountRig&)>>("happens");
        QTest::addColumn<QString>("outcome");
        const auto row = [](const char* name, const std::function<void(AccountRig&)>& happens,
                            const char* outcome) { QTest::newRow(name) << happens << outcome; };
        const auto* const bad = "Example returned something unexpected. Try again.";
        const auto* const gone = "Sign-in was cancelled.";
        const auto* const closed = "Couldn't open the sign-in browser. Try again.";
        row(
            "no code", [](auto& rig) { rig.browserAnswers("error=access_denied"); }, bad);
        row(
            "cancelled", [](auto& rig) { rig.browser.cancel(); }, gone);
        row(
            "cancelled while the code is redeemed",
            [](auto& rig) {
                rig.browserAnswers();
                rig.browser.cancel();
            },
            gone);
        row(
            "ten minutes", [](auto& rig) { rig.scheduler.advance(600); }, gone);
        row(
            "ten minutes less", [](auto& rig) { rig.scheduler.advance(599); }, "waits");
        row(
            "the token endpoint is gone",
            [](auto& rig) {
                rig.browserAnswers();
                rig.network.fail("The server cannot be found.");
            },
            "The server cannot be found.");
        row(
            "another program's address",
            [](auto& rig) {
                rig.browser.take("com.example.apps.123-abcd:/oauth2redirect?code=1");
                rig.browser.take("com.example.apps.123-abc:/oauth2redirected?code=1");
            },
            "waits");
        row(
            "no browser",
            [](auto& rig) {
                rig.desktop.opens = false;
                rig.browser.openAgain();
            },
            closed);
        row(
            "a scheme in capitals",
            [](auto& rig) {
                rig.browser.take("COM.example.apps.123-ABC:/oauth2redirect?code=1");
                rig.providerAnswers();
            },
            "me@example.com");
    }
    void endsInWords() {
        QFETCH(std::function<void(AccountRig&)>, happens);
        start();
        happens(*m_rig);
        QTEST(outcome(), "outcome");
        QCOMPARE(m_rig->browser.isWaiting(), !m_result);
    }

    void aLateAnswerToAnEarlierVisitEndsNothing() {
        start();
        m_rig->browser.cancel();
        m_result.reset();
        start();
        m_rig->browserAnswers("code=of-the-first");
        m_rig->network.answer(400, R"({"error":"invalid_grant"})", "/token");
        QCOMPARE(outcome(), "waits");
        m_rig->browserAnswers("code=of-the-second");
        m_rig->providerAnswers();
        QCOMPARE(outcome(), "me@example.com");
        m_rig->browserAnswers(); // nobody waits any more
        QCOMPARE(m_rig->network.waiting().size(), 0);
    }

    void thePageOfThisComputerNeedsSomebodyWhoServesIt_data() {
        QTest::addColumn<int>("listening");
        QTest::addColumn<int>("afterStart");
        QTest::addColumn<bool>("opens");
        using enum LocalService::Listener;
        QTest::newRow("runs") << int(self) << int(self) << true;
        QTest::newRow("is started") << int(nobody) << int(self) << true;
        QTest::newRow("cannot be started") << int(nobody) << int(nobody) << false;
        QTest::newRow("another user's") << int(stranger) << int(stranger) << false;
    }
    void thePageOfThisComputerNeedsSomebodyWhoServesIt() {
        QFETCH(int, listening);
        QFETCH(int, afterStart);
        m_rig->config.authorizationEndpoint = QUrl("http://127.0.0.1:8757/o/oauth2/v2/auth");
        m_rig->local.listening = LocalService::Listener(listening);
        m_rig->local.afterStart = LocalService::Listener(afterStart);
        start();
        m_rig->scheduler.advance(1);
        QTEST(!m_rig->desktop.opened.isEmpty(), "opens");
        QTEST(m_rig->browser.isWaiting(), "opens");
    }
};

Q_DECLARE_METATYPE(std::function<void(AccountRig&)>)

QTEST_GUILESS_MAIN(GoogleSignInTest)
#include "GoogleSignInTest.moc"
