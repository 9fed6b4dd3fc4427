#include "MurloBackend/identity/LocalProvider.h"
#include "tests/harness/Files.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace murlo::backend {

namespace {

// The example of RFC 7636, appendix B.
const QString verifier = "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk";
const QString challenge = "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM";
const QString redirect = "com.example.apps.1-a:/oauth2redirect";

FormFields fieldsOf(const QString& query) {
    FormFields fields;
    for (const auto& [name, value] : QUrlQuery(query).queryItems()) fields[name] = value;
    return fields;
}
FormFields authorization() {
    return fieldsOf("client_id=1-a.apps.example.com&response_type=code&scope=openid email"
                    "&code_challenge_method=S256&code_challenge=" +
                    challenge + "&redirect_uri=" + redirect);
}
FormFields exchange(const QString& code) {
    return fieldsOf("client_id=1-a.apps.example.com&grant_type=authorization_code&code=" + code +
                    "&code_verifier=" + verifier + "&redirect_uri=" + redirect);
}
QByteArray encoded(const FormFields& fields) {
    QByteArrayList pairs;
    for (auto each = fields.begin(); each != fields.end(); ++each)
        pairs << QUrl::toPercentEncoding(each.key()) + '=' + QUrl::toPercentEncoding(*each);
    return pairs.join('&');
}
/// The fields of the form on a page, as a browser would send them.
FormFields formOn(const Reply& page) {
    static const QRegularExpression input("<input[^>]* name=\"([^\"]*)\"[^>]* value=\"([^\"]*)\"");
    FormFields fields;
    auto matches = input.globalMatch(QString::fromUtf8(page.body));
    while (matches.hasNext()) {
        const auto match = matches.next();
        QString value = match.captured(2);
        fields.insert(match.captured(1), value.replace("&quot;", "\"")
                                             .replace("&lt;", "<")
                                             .replace("&gt;", ">")
                                             .replace("&amp;", "&"));
    }
    return fields;
}
/// The code in the link back; empty if the page leads nowhere.
QString codeOn(const Reply& page) {
    static const QRegularExpression link("<a href=\"[^\"]*[?&;]code=([A-Za-z0-9_-]{43})[\"&]");
    return link.match(QString::fromUtf8(page.body)).captured(1);
}

} // namespace

class LocalProviderTest : public QObject {
    Q_OBJECT

    qint64 m_time = 1'800'000'000;
    std::unique_ptr<LocalProvider> m_provider;

    std::unique_ptr<LocalProvider> make(const QString& keyFile = {}, bool remote = false) {
        return std::make_unique<LocalProvider>(
            LocalProviderOptions{"http://127.0.0.1:1", "1-a.apps.example.com", redirect, "ada",
                                 remote, keyFile},
            [this] { return m_time; });
    }
    Reply handle(const Request& request) {
        Reply result;
        m_provider->handle(request, [&](const Reply& reply) { result = reply; });
        return result;
    }
    Reply open(const FormFields& fields) {
        return handle({"GET", "/o/oauth2/v2/auth", QUrlQuery(encoded(fields)), {}, {}});
    }
    Reply post(const QString& path, const QByteArray& body,
               const QByteArray& type = "application/x-www-form-urlencoded; charset=UTF-8") {
        return handle({"POST", path, {}, {{"content-type", type}}, body});
    }
    Reply press(const FormFields& fields) { return post("/o/oauth2/v2/auth", encoded(fields)); }
    QString freshCode() { return codeOn(press(formOn(open(authorization())))); }
    /// The token endpoint's error, or "" with an ID token.
    QString errorOf(const FormFields& fields) {
        const Reply reply = post("/token", encoded(fields));
        const auto object = QJsonDocument::fromJson(reply.body).object();
        const bool token = object.contains("id_token");
        if (token != (reply.status == 200)) return "neither this nor that";
        return token ? QString() : object["error"].toString();
    }
    std::optional<Identity> identityBy(const LocalProvider& provider, const QString& token) {
        std::optional<Identity> identity;
        provider.verifier()->verify(token.toUtf8(), [&](const auto& result) {
            if (result) identity = *result;
        });
        return identity;
    }

private Q_SLOTS:
    void init() { m_provider = make(); }

    void oneClickSignsIn() {
        FormFields asked = authorization();
        asked["state"] = "a b&\"<c>";
        const Reply page = open(asked);
        QCOMPARE(page.status, 200);
        QVERIFY(page.body.contains("Nothing leaves this computer."));
        QVERIFY(!page.body.contains("<script"));
        FormFields form = formOn(page);
        QCOMPARE(form["email"], "ada@localhost");
        form["email"] = " ada+x@example.org ";
        const Reply done = press(form);
        QVERIFY(done.body.contains("state=a%20b%26%22%3Cc%3E"));
        QVERIFY(done.body.contains(
            "<meta http-equiv=\"refresh\" content=\"0; url=" + redirect.toUtf8() + "?code="));
        const Reply token = post("/token", encoded(exchange(codeOn(done))));
        QCOMPARE(token.status, 200);
        const auto object = QJsonDocument::fromJson(token.body).object();
        QCOMPARE(object["token_type"], "Bearer");
        const QString idToken = object["id_token"].toString();
        m_time += LocalProvider::tokenLifetime; // and the skew
        const auto identity = identityBy(*m_provider, idToken);
        QVERIFY(identity);
        QCOMPARE(identity->subject, "local");
        QCOMPARE(identity->email, "ada+x@example.org");
        QVERIFY(!identityBy(*make(), idToken)); // another key
        m_time += 60;
        QVERIFY(!identityBy(*m_provider, idToken));
    }

    void thePagesCannotBeFramedKeptOrMadeToLoadAnything() {
        for (const Reply& page :
             {open(authorization()), press(formOn(open(authorization()))), open({})}) {
            QByteArray headers;
            for (const auto& [name, value] : page.headers) headers += name + ": " + value + '\n';
            for (const char* line : {"default-src 'none'", "frame-ancestors 'none'",
                                     "Cache-Control: no-store", "Referrer-Policy: same-origin"})
                QVERIFY2(headers.contains(line), line);
        }
        m_provider = make({}, true);
        const QByteArray body = open(authorization()).body;
        QVERIFY(body.contains("language model") && !body.contains("Nothing leaves"));
    }

    void aRequestThatIsNotMurlosLeadsNowhere() {
        const std::pair<QString, QString> rows[] = {{"client_id", "other"},
                                                    {"redirect_uri", redirect + "/"},
                                                    {"redirect_uri", "https://evil.example/"},
                                                    {"response_type", "token"},
                                                    {"scope", "email openid2"},
                                                    {"code_challenge", ""},
                                                    {"code_challenge", challenge + "A"},
                                                    {"code_challenge", QString(43, '+')},
                                                    {"code_challenge_method", "plain"},
                                                    {"state", QString(2001, 'x')},
                                                    {"state", QString(9000, 'x')}};
        for (const auto& [name, value] : rows) {
            FormFields asked = authorization();
            FormFields form = formOn(open(asked));
            asked[name] = form[name] = value;
            for (const Reply& page : {open(asked), press(form)}) {
                QCOMPARE(page.status, 400);
                QVERIFY(!page.body.contains("<a ") && !page.body.contains("http-equiv"));
                QVERIFY(!page.body.contains("<form") && !page.body.contains("evil"));
            }
        }
    }
    void aNameMayComeOnlyOnce() {
        const QByteArray twice = encoded(authorization()) + "&redirect_uri=" + redirect.toUtf8();
        QCOMPARE(handle({"GET", "/o/oauth2/v2/auth", QUrlQuery(twice), {}, {}}).status, 400);
        QCOMPARE(post("/token", encoded(exchange(freshCode())) + "&code=x").status, 400);
    }

    void aFormThatIsNotOursIsShownAgain() {
        QList<std::pair<QString, QString>> rows{{"form_token", ""},
                                                {"form_token", "1900000000.AAAA"},
                                                {"code_challenge", QString(43, 'A')},
                                                {"state", "x"},
                                                {"email", QString(320, 'x') + "@x"}};
        for (const char* email : {"", "ada", "@localhost", "ada@", "a@b@c", "a b@c", "a@b\n.c",
                                  "é\u0007@x", "\"><script>x</script>"})
            rows.append(std::pair<QString, QString>("email", email));
        for (const auto& [field, value] : rows) {
            FormFields form = formOn(open(authorization()));
            form[field] = value;
            const Reply page = press(form);
            QCOMPARE(page.status, 400);
            QVERIFY(codeOn(page).isEmpty() && !page.body.contains("<script"));
            form = formOn(page);
            QVERIFY(field != "email" || form["email"].size() == value.size()); // not lost
            form["email"] = "ada@localhost";
            m_time += 3599;
            QVERIFY(!codeOn(press(form)).isEmpty());
            m_time += 1; // open for an hour
            QVERIFY(codeOn(press(form)).isEmpty());
        }
    }

    void theTokenEndpointRefuses() {
        const QString other(43, 'A');
        const std::tuple<QString, QString, QString> rows[] = {
            {"grant_type", "password", "unsupported_grant_type"},
            {"client_id", "other", "invalid_client"},
            {"redirect_uri", "x:/y", "invalid_grant"},
            {"code", other, "invalid_grant"},
            {"code_verifier", other, "invalid_grant"},
            {"code_verifier", challenge, "invalid_grant"},
            {"code_verifier", "A", "invalid_grant"},
            {"code_verifier", "", "invalid_request"}};
        for (const auto& [field, value, error] : rows) {
            FormFields fields = exchange(freshCode());
            fields[field] = value;
            QCOMPARE(errorOf(fields), error);
        }
    }
    void aCodeIsGoodOnceForFiveMinutesAmongTheLatestHundred() {
        const QString code = freshCode();
        m_time += AuthorizationCodes::lifetime - 1;
        QCOMPARE(errorOf(exchange(code)), "");
        QCOMPARE(errorOf(exchange(code)), "invalid_grant");

        FormFields wrong = exchange(freshCode());
        wrong["code_verifier"] = QString(43, 'A');
        QCOMPARE(errorOf(wrong), "invalid_grant");
        QCOMPARE(errorOf(exchange(wrong["code"])), "invalid_grant"); // used up

        const QString late = freshCode();
        m_time += AuthorizationCodes::lifetime;
        QCOMPARE(errorOf(exchange(late)), "invalid_grant");

        const QString oldest = freshCode();
        const QString second = freshCode();
        for (int i = 1; i < AuthorizationCodes::mostWaiting; ++i) (void)freshCode();
        QCOMPARE(errorOf(exchange(oldest)), "invalid_grant");
        QCOMPARE(errorOf(exchange(second)), "");
    }
    void otherWaysOfAsking() {
        const QByteArray body = encoded(exchange(freshCode()));
        QCOMPARE(post("/token", body, "application/json").status, 400);
        QCOMPARE(handle({"GET", "/token", QUrlQuery(QString(body)), {}, {}}).status, 405);
        QCOMPARE(handle({"PUT", "/o/oauth2/v2/auth", {}, {}, {}}).status, 405);
        QCOMPARE(handle({"GET", "/elsewhere", {}, {}, {}}).status, 404);
        QCOMPARE(post("/token", body).status, 200); // nothing of it cost the code
    }

    void tokensAndOpenPagesOutliveTheProcessByTheKeyFile() {
        const QTemporaryDir folder;
        const QString file = folder.filePath("sign-in.pem");
        m_provider = make(file);
        QCOMPARE(QFile::permissions(file) & ~(QFile::ReadUser | QFile::WriteUser),
                 QFile::ReadOwner | QFile::WriteOwner);
        const FormFields form = formOn(open(authorization()));
        const Reply reply = post("/token", encoded(exchange(freshCode())));
        m_provider = make(file);
        QVERIFY(!codeOn(press(form)).isEmpty());
        const auto token = QJsonDocument::fromJson(reply.body).object()["id_token"].toString();
        QVERIFY(identityBy(*m_provider, token));

        QVERIFY(QFile::resize(file, 40)); // damaged
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("sign-in.pem.damaged,"));
        m_provider = make(file);
        QVERIFY(!freshCode().isEmpty());
        QCOMPARE(contentOf(file + ".damaged").size(), 40);
        QVERIFY(contentOf(file).size() > 40);
    }
};

} // namespace murlo::backend

QTEST_GUILESS_MAIN(murlo::backend::LocalProviderTest)
#include "LocalProviderTest.moc"
