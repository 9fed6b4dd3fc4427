#include "MurloBackend/identity/SignInPages.h"

#include <QCryptographicHash>

namespace murlo::backend::SignInPages {

namespace {

// Contrast of every text is 4.5:1 or better on its ground (WCAG 2.1, AA), in both schemes.
const QByteArray& style() {
    static const QByteArray css = R"(
:root { color-scheme: light dark; --ground: #f2f3f5; --card: #ffffff; --line: #dcdfe4; --edge: #858b95;
  --text: #1d2025; --quiet: #585e68; --accent: #0a64eb; --on-accent: #ffffff; --notice: #fdf1d3; }
@media (prefers-color-scheme: dark) { :root { --ground: #15171a; --card: #202327; --line: #373b42;
  --edge: #838a95; --text: #eef0f3; --quiet: #adb3bd; --accent: #82b4ff; --on-accent: #06214d;
  --notice: #3b3220; } }
* { box-sizing: border-box; }
body { margin: 0; min-height: 100vh; display: flex; align-items: center; justify-content: center;
  padding: 24px; background: var(--ground); color: var(--text);
  font: 16px/1.5 Inter, system-ui, sans-serif; }
main { width: 100%; max-width: 400px; padding: 36px 36px 30px; background: var(--card);
  border: 1px solid var(--line); border-radius: 20px;
  box-shadow: 0 1px 2px rgba(0,0,0,.05), 0 12px 32px rgba(0,0,0,.07); }
svg { display: block; width: 44px; height: 44px; margin-bottom: 18px; }
.ground { fill: var(--accent); } .bars { stroke: var(--on-accent); }
h1 { margin: 0 0 6px; font-size: 23px; line-height: 1.25; font-weight: 650; letter-spacing: -.01em; }
p { margin: 0 0 20px; color: var(--quiet); text-wrap: balance; }
p.notice { padding: 10px 14px; border-radius: 10px; background: var(--notice); color: var(--text); }
label { display: block; margin-bottom: 6px; font-size: 14px; font-weight: 550; }
input { width: 100%; padding: 11px 14px; font: inherit; color: var(--text); background: var(--card);
  border: 1px solid var(--edge); border-radius: 10px; }
button, a { display: block; width: 100%; margin: 16px 0 0; padding: 12px 16px; border: 0;
  border-radius: 10px; background: var(--accent); color: var(--on-accent); font: inherit;
  font-weight: 600; text-align: center; text-decoration: none; cursor: pointer; }
button:hover, a:hover { filter: brightness(1.08); }
:focus-visible { outline: 3px solid var(--accent); outline-offset: 2px; }
p.foot { margin: 20px 0 0; font-size: 14px; }
)";
    return css;
}

const QByteArray& contentSecurity() {
    static const QByteArray policy =
        "default-src 'none'; style-src 'sha256-" +
        QCryptographicHash::hash(style(), QCryptographicHash::Sha256).toBase64() +
        "'; form-action 'self'; frame-ancestors 'none'; base-uri 'none'";
    return policy;
}

/// A document with this title, `head` being further elements of its head.
Reply page(int status, const QString& title, const QString& content, const QString& head = {}) {
    static const QString mark = QStringLiteral(
        R"(<svg viewBox="0 0 44 44" aria-hidden="true"><rect class="ground" width="44" height="44" rx="13"/>)"
        R"(<path class="bars" d="M12 19v6M17 14.5v15M22 10.5v23M27 16v12M32 19.5v5" fill="none" )"
        R"(stroke-width="2.6" stroke-linecap="round"/></svg>)");
    const QString document =
        QStringLiteral("<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
                       "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"
                       "<title>%1</title>")
            .arg(title) +
        head + QStringLiteral("<style>") + QString::fromUtf8(style()) +
        QStringLiteral("</style></head>\n<body><main>") + mark +
        QStringLiteral("<h1>%1</h1>\n").arg(title) + content +
        QStringLiteral("</main></body></html>\n");
    return {status,
            document.toUtf8(),
            "text/html; charset=utf-8",
            {{"Content-Security-Policy", contentSecurity()},
             {"X-Frame-Options", "DENY"},
             {"X-Content-Type-Options", "nosniff"},
             // Not "no-referrer": then browsers send the form with "Origin: null".
             {"Referrer-Policy", "same-origin"},
             {"Cache-Control", "no-store"}}};
}

QString paragraph(const QString& text, const char* kind = "") {
    return QStringLiteral("<p class=\"%1\">%2</p>\n")
        .arg(QLatin1String(kind), text.toHtmlEscaped());
}

} // namespace

Reply form(const Form& shown) {
    QString content =
        paragraph(QStringLiteral("This computer keeps your account. No password needed."));
    if (!shown.notice.isEmpty()) content += paragraph(shown.notice, "notice");
    content += QStringLiteral("<form method=\"post\" action=\"/o/oauth2/v2/auth\">\n");
    for (const auto& [name, value] : shown.hidden) {
        content += QStringLiteral("<input type=\"hidden\" name=\"%1\" value=\"%2\">\n")
                       .arg(name.toHtmlEscaped(), value.toHtmlEscaped());
    }
    content +=
        QStringLiteral("<label for=\"email\">E-mail</label>\n"
                       "<input id=\"email\" name=\"email\" type=\"text\" inputmode=\"email\" "
                       "autocomplete=\"email\" spellcheck=\"false\" maxlength=\"320\" "
                       "required value=\"%1\">\n"
                       "<button type=\"submit\" autofocus>Continue</button></form>\n")
            .arg(shown.email.toHtmlEscaped());
    content += paragraph(
        shown.remotePolish
            ? QStringLiteral(
                  "Your account stays on this computer. Texts that Murlo is to enhance are "
                  "sent to the language model that its configuration names.")
            : QStringLiteral("Nothing leaves this computer."),
        "foot");
    return page(shown.notice.isEmpty() ? 200 : 400, QStringLiteral("Sign in to Murlo"), content);
}

Reply signedIn(const QString& link) {
    const QString escaped = link.toHtmlEscaped();
    return page(200, QStringLiteral("You are signed in to Murlo"),
                paragraph(QStringLiteral(
                    "Murlo goes on by itself. If your browser asks, let it open Murlo.")) +
                    QStringLiteral("<a href=\"%1\" autofocus>Back to Murlo</a>\n").arg(escaped) +
                    paragraph(QStringLiteral("You can close this page afterwards."), "foot"),
                QStringLiteral("<meta http-equiv=\"refresh\" content=\"0; url=%1\">").arg(escaped));
}

Reply refusal(int status, const QString& sentence) {
    return page(status, QStringLiteral("Murlo cannot sign in here"),
                paragraph(sentence) +
                    paragraph(QStringLiteral("Close this page and start again in Murlo."), "foot"));
}

} // namespace murlo::backend::SignInPages
