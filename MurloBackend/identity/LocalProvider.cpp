#include "MurloBackend/identity/LocalProvider.h"

#include "MurloBackend/identity/Base64Url.h"
#include "MurloBackend/identity/SignInPages.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QMessageAuthenticationCode>

#include <algorithm>

namespace murlo::backend {

namespace {

constexpr qint64 formLifetime = qint64{60} * 60; // seconds; the client waits for ten minutes
constexpr qsizetype longestState = 2000;         // characters
constexpr qsizetype longestEmail = 320;          // 64 + "@" + 255

const QString authorizationPath = QStringLiteral("/o/oauth2/v2/auth");
const QString tokenPath = QStringLiteral("/token");
const QString formTokenField = QStringLiteral("form_token");

/// One person's address, as far as that can be seen; its domain may be "localhost".
bool isPlausible(const QString& email) {
    const auto at = email.indexOf(QLatin1Char('@'));
    return at > 0 && at == email.lastIndexOf(QLatin1Char('@')) && at < email.size() - 1 &&
           email.size() <= longestEmail && std::all_of(email.begin(), email.end(), [](QChar c) {
               return c.isPrint() && !c.isSpace();
           });
}

/// The address proposed to a user of this login name.
QString addressOf(const QString& loginName) {
    const QString address =
        loginName.contains(QLatin1Char('@')) ? loginName : loginName + QStringLiteral("@localhost");
    return isPlausible(address) ? address : QStringLiteral("user@localhost");
}

/// An answer of the token endpoint (RFC 6749, section 5).
Reply tokenReply(int status, const QJsonObject& object) {
    return {status,
            QJsonDocument(object).toJson(QJsonDocument::Compact),
            "application/json",
            {{"Cache-Control", "no-store"}, {"Pragma", "no-cache"}}};
}

Reply tokenError(const char* error) {
    return tokenReply(400, {{QStringLiteral("error"), QLatin1String(error)}});
}

class OwnTokenVerifier : public IdTokenVerifier {
public:
    OwnTokenVerifier(PublicKey key, TokenExpectation expected, Clock clock)
        : m_key(std::move(key))
        , m_expected(std::move(expected))
        , m_clock(std::move(clock)) {}

    void verify(const QByteArray& token,
                std::function<void(tl::expected<Identity, TokenFault>)> done) override {
        const auto parsed = SignedToken::parse(token);
        const auto claims = parsed ? parsed->claims(m_key) : std::nullopt;
        const auto identity = claims ? identityOf(*claims, m_expected, m_clock()) : std::nullopt;
        if (!identity) return done(tl::unexpected(TokenFault::refused));
        done(*identity);
    }

private:
    PublicKey m_key;
    TokenExpectation m_expected;
    Clock m_clock;
};

} // namespace

LocalProvider::LocalProvider(LocalProviderOptions options, Clock clock)
    : m_options(std::move(options))
    , m_clock(std::move(clock))
    , m_key(PrivateKey::keptIn(m_options.keyFile))
    // Derived from the kept key, so that a page that stands open works after a restart as well.
    , m_formSecret(
          QCryptographicHash::hash("sign-in form\n" + m_key.pem(), QCryptographicHash::Sha256))
    , m_codes(m_clock) {}

void LocalProvider::handle(const Request& request, const Respond& respond) {
    const bool post = request.method == "POST";
    if (request.path == tokenPath) {
        if (post) return respond(exchange(request));
        Reply reply = tokenError("invalid_request");
        reply.status = 405;
        reply.headers.emplaceBack("Allow", "POST");
        return respond(std::move(reply));
    }
    if (request.path != authorizationPath)
        return respond(
            SignInPages::refusal(404, QStringLiteral("There is no page at this address.")));
    if (!post && request.method != "GET") {
        Reply reply = SignInPages::refusal(405, QStringLiteral("This page is only read and sent."));
        reply.headers.emplaceBack("Allow", "GET, POST");
        return respond(std::move(reply));
    }
    const auto fields = post ? formFieldsOf(request) : queryFieldsOf(request);
    const QString wrong =
        fields ? objection(*fields) : QStringLiteral("The request is not one that Murlo makes.");
    if (!wrong.isEmpty()) return respond(SignInPages::refusal(400, wrong));
    respond(post ? takeForm(*fields) : showForm(*fields));
}

std::unique_ptr<IdTokenVerifier> LocalProvider::verifier() const {
    return std::make_unique<OwnTokenVerifier>(
        m_key.publicKey(), TokenExpectation{m_options.issuer, m_options.clientIdentifier}, m_clock);
}

QString LocalProvider::objection(const FormFields& fields) const {
    const auto is = [&](const char* name, const QString& value) {
        return fields.value(QLatin1String(name)) == value;
    };
    if (!is("client_id", m_options.clientIdentifier))
        return QStringLiteral("Another program than Murlo asked for it (client_id).");
    if (!is("redirect_uri", m_options.redirectURI))
        return QStringLiteral("It would lead back to another address than Murlo's (redirect_uri).");
    if (!is("response_type", QStringLiteral("code")))
        return QStringLiteral("Only the authorization-code flow is offered (response_type).");
    // A blank in a query may be written as "+".
    const QStringList scopes = fields.value(QStringLiteral("scope"))
                                   .replace(QLatin1Char('+'), QLatin1Char(' '))
                                   .split(QLatin1Char(' '));
    if (!scopes.contains(QLatin1String("openid")))
        return QStringLiteral("It does not ask who is signing in (scope).");
    if (!is("code_challenge_method", QStringLiteral("S256")) ||
        !isChallenge(fields.value(QStringLiteral("code_challenge")).toLatin1()))
        return QStringLiteral("Its proof of origin is missing or malformed (code_challenge).");
    if (fields.value(QStringLiteral("state")).size() > longestState)
        return QStringLiteral("The request is too long (state).");
    return {};
}

QString LocalProvider::formToken(const FormFields& fields, qint64 expiry) const {
    const QByteArray about = QByteArray::number(expiry) + '\n' +
                             fields.value(QStringLiteral("code_challenge")).toUtf8() + '\n' +
                             fields.value(QStringLiteral("state")).toUtf8();
    const QByteArray code =
        QMessageAuthenticationCode::hash(about, m_formSecret, QCryptographicHash::Sha256);
    return QString::number(expiry) + QLatin1Char('.') +
           QString::fromLatin1(Base64Url::encode(code));
}

bool LocalProvider::isOwnForm(const FormFields& fields) const {
    const QString given = fields.value(formTokenField);
    const qint64 expiry = given.section(QLatin1Char('.'), 0, 0).toLongLong();
    const QByteArray ours = formToken(fields, expiry).toUtf8();
    const QByteArray theirs = given.toUtf8();
    if (ours.size() != theirs.size() || m_clock() >= expiry) return false;
    int difference = 0; // the time taken tells nothing about where they differ
    for (qsizetype i = 0; i < ours.size(); ++i) difference |= ours[i] ^ theirs[i];
    return difference == 0;
}

Reply LocalProvider::showForm(const FormFields& fields, const QString& notice) const {
    SignInPages::Form form;
    form.email = fields.value(QStringLiteral("email"), addressOf(m_options.loginName));
    form.notice = notice;
    form.remotePolish = m_options.remotePolish;
    for (const char* name : {"client_id", "redirect_uri", "response_type", "scope",
                             "code_challenge", "code_challenge_method", "state"}) {
        const QString field = QLatin1String(name);
        if (fields.contains(field)) form.hidden.append({field, fields.value(field)});
    }
    form.hidden.append({formTokenField, formToken(fields, m_clock() + formLifetime)});
    return SignInPages::form(form);
}

Reply LocalProvider::takeForm(const FormFields& fields) {
    if (!isOwnForm(fields))
        return showForm(fields, QStringLiteral("This page was open for too long. Please continue "
                                               "once more."));
    const QString email = fields.value(QStringLiteral("email")).trimmed();
    if (!isPlausible(email))
        return showForm(fields, QStringLiteral("Please enter an address such as name@localhost."));
    const QByteArray code =
        m_codes.issue({fields.value(QStringLiteral("code_challenge")).toLatin1(), email});
    QString link = m_options.redirectURI;
    link += link.contains(QLatin1Char('?')) ? QLatin1Char('&') : QLatin1Char('?');
    link += QStringLiteral("code=") + QString::fromLatin1(code);
    if (fields.contains(QStringLiteral("state")))
        link += QStringLiteral("&state=") +
                QString::fromLatin1(QUrl::toPercentEncoding(fields.value(QStringLiteral("state"))));
    return SignInPages::signedIn(link);
}

Reply LocalProvider::exchange(const Request& request) {
    const auto fields = formFieldsOf(request);
    if (!fields) return tokenError("invalid_request");
    for (const char* name : {"grant_type", "code", "client_id", "redirect_uri", "code_verifier"})
        if (fields->value(QLatin1String(name)).isEmpty()) return tokenError("invalid_request");
    if (fields->value(QStringLiteral("grant_type")) != QLatin1String("authorization_code"))
        return tokenError("unsupported_grant_type");
    if (fields->value(QStringLiteral("client_id")) != m_options.clientIdentifier)
        return tokenError("invalid_client");
    // A code that was sent with anything wrong is used up: somebody else may have it.
    const auto grant = m_codes.redeem(fields->value(QStringLiteral("code")).toLatin1(),
                                      fields->value(QStringLiteral("code_verifier")).toLatin1());
    if (!grant || fields->value(QStringLiteral("redirect_uri")) != m_options.redirectURI)
        return tokenError("invalid_grant");
    return tokenReply(
        200, {{QStringLiteral("id_token"), QString::fromLatin1(idToken(grant->email))},
              // Required by the protocol; nothing takes it.
              {QStringLiteral("access_token"), QString::fromLatin1(Base64Url::randomSecret())},
              {QStringLiteral("token_type"), QStringLiteral("Bearer")},
              {QStringLiteral("expires_in"), tokenLifetime}});
}

QByteArray LocalProvider::idToken(const QString& email) const {
    const qint64 now = m_clock();
    return makeToken({{QStringLiteral("iss"), m_options.issuer},
                      {QStringLiteral("aud"), m_options.clientIdentifier},
                      {QStringLiteral("sub"), QStringLiteral("local")}, // the one account
                      {QStringLiteral("email"), email},
                      {QStringLiteral("email_verified"), true},
                      {QStringLiteral("name"), m_options.loginName},
                      {QStringLiteral("iat"), now},
                      {QStringLiteral("exp"), now + tokenLifetime}},
                     m_key, QStringLiteral("local"));
}

} // namespace murlo::backend
