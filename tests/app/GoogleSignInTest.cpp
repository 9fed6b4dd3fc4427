#include "account/GoogleSignIn.h"
#include "MurloKit/Base64Url.h"
#include "look/Words.h"
#include "tests/harness/AccountRig.h"
#include "tests/harness/Rows.h"

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
        m_signIn = std::make_unique<GoogleSignIn>(m_rig->browser, m_rig->guard, m_rig->config, [] {
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
        const Rows<QByteArray, QString> row;
        const QString bad = "Example returned something unexpected. Try again.";
        const auto token = [](const QByteArray& claims, const QByteArray& rest = ".s") {
            return "{\"id_token\":\"h." + base64Url(claims).toUtf8() + rest + "\"}";
        };
        row("a token", token(R"({"sub":"1","email":"a@b"})"), "a@b");
        row("a numeric name", token(R"({"sub":"1","email":"a@b","name":3})"), "a@b");
        row("no address", token(R"({"sub":"1"})"), bad);
        row("numeric claims", token(R"({"sub":1,"email":"a@b"})"), bad);
        row("no object", token("[]"), bad);
        row("four pieces", token(R"({"sub":"1","email":"a@b"})", ".s.s"), bad);
        row("two pieces", token(R"({"sub":"1","email":"a@b"})", {}), bad);
        row("no base64", QByteArray(R"({"id_token":"a.%%%%.b"})"), bad);
        row("no token", QByteArray(R"({"error":"invalid_client"})"), bad);
        // A code of another page: that of an earlier start of the program, or a forged one.
        row("an unknown code", QByteArray(R"({"error":"invalid_grant"})"), "waits");
        row("no JSON", QByteArray("<html>\xff"), bad);
        row("deep", QByteArray(100000, '['), bad);
    }
    void answersOfTheProvider() {
        const auto [body, expected] = fetch<QByteArray, QString>();
        start();
        m_rig->browserAnswers();
        m_rig->network.answer(400, body, "/token"); // whatever the status
        QCOMPARE(outcome(), expected);
    }

    void endsInWords_data() {
        const Rows<QString> outcome; // by what happens
        const auto* const bad = "Example returned something unexpected. Try again.";
        const auto* const gone = "Sign-in was cancelled.";
        outcome("?error=access_denied", bad); // no code
        outcome("cancelled", gone);
        outcome("?code=1 cancelled", gone); // while it is redeemed
        outcome("600", gone);
        outcome("599", "waits");
        outcome("?code=1 offline", "The server cannot be found.");
        // Addresses of other programs, and one in capitals
        outcome("com.example.apps.123-abcd:/oauth2redirect?code=1", "waits");
        outcome("com.example.apps.123-abc:/oauth2redirected?code=1", "waits");
        outcome("COM.example.apps.123-ABC:/oauth2redirect?code=1 token", "me@example.com");
        outcome("browserless", "Couldn't open the sign-in browser. Try again.");
    }
    void endsInWords() {
        const auto [expected] = fetch<QString>();
        start();
        for (const QString& step : QString(QTest::currentDataTag()).split(' ')) {
            if (step == "cancelled") m_rig->browser.cancel();
            if (step == "offline") m_rig->network.fail("The server cannot be found.");
            if (step == "token") m_rig->providerAnswers();
            if (step.startsWith('?')) m_rig->browserAnswers(step.mid(1));
            if (step.contains(":/")) m_rig->browser.take(step);
            m_rig->scheduler.advance(step.toInt());
            m_rig->desktop.opens = step != "browserless";
            if (!m_rig->desktop.opens) m_rig->browser.openAgain();
        }
        QCOMPARE(outcome(), expected);
        QCOMPARE(m_rig->browser.isWaiting(), !m_result);
        QVERIFY(m_rig->network.waiting().isEmpty());
    }

    void aLateAnswerToAnEarlierVisitEndsNothing_data() {
        const Rows<bool> row; // whether the newer answer comes while the late one is looked at
        row("after", false);
        row("during", true);
    }
    void aLateAnswerToAnEarlierVisitEndsNothing() {
        const auto [during] = fetch<bool>();
        start();
        m_rig->browser.cancel();
        m_result.reset();
        start();
        m_rig->browserAnswers("code=of-the-first");
        const auto refuse = [this] {
            m_rig->network.answer(400, R"({"error":"invalid_grant"})", "/token");
        };
        if (!during) refuse();
        QCOMPARE(outcome(), "waits");
        m_rig->browserAnswers("code=of-the-second");
        if (during) refuse();
        QVERIFY(m_rig->network.waiting().value(0).body.contains("of-the-second"));
        m_rig->providerAnswers();
        QCOMPARE(outcome(), "me@example.com");
        m_rig->browserAnswers(); // nobody waits any more
        QCOMPARE(m_rig->network.waiting().size(), 0);
    }

    void thePageOfThisComputerNeedsSomebodyWhoServesIt_data() {
        using enum LocalService::Listener;
        const Rows<LocalService::Listener, LocalService::Listener, bool> row; // at first, later
        row("runs", self, self, true);
        row("is started", nobody, self, true);
        row("cannot be started", nobody, nobody, false);
        row("another user's", stranger, stranger, false);
    }
    void thePageOfThisComputerNeedsSomebodyWhoServesIt() {
        bool opens = false;
        std::tie(m_rig->local.listening, m_rig->local.afterStart, opens) =
            fetch<LocalService::Listener, LocalService::Listener, bool>();
        m_rig->config.authorizationEndpoint = QUrl("http://127.0.0.1:8757/o/oauth2/v2/auth");
        start();
        m_rig->scheduler.advance(1);
        QCOMPARE(!m_rig->desktop.opened.isEmpty(), opens);
        QCOMPARE(m_rig->browser.isWaiting(), opens);
    }
};

QTEST_GUILESS_MAIN(GoogleSignInTest)
#include "GoogleSignInTest.moc"
