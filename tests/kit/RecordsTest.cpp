#include "MurloKit/ErrorReport.h"
#include "MurloKit/IDTokenPayload.h"
#include "MurloKit/PKCE.h"
#include "MurloKit/ReleaseInfo.h"
#include "MurloKit/SemanticVersion.h"

#include <QRegularExpression>
#include <QTest>

using namespace murlo;

class RecordsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theExampleOfTheStandard() { // RFC 7636, appendix B
        const QByteArray standard(
            "\x74\x18\xdf\xb4\x97\x99\xe0\x25\x4f\xfa\x60\x7d\xd8\xad\xbb\xba"
            "\x16\xd4\x25\x4d\x69\xd6\xbf\xf0\x5b\x58\x05\x58\x53\x84\x8d\x79",
            32);
        const PKCE example = PKCE::fromBytes(standard);
        QCOMPARE(example.verifier, "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk");
        QCOMPARE(example.challenge, "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM");
        static const QRegularExpression form("^[A-Za-z0-9_-]{43}$");
        QVERIFY(form.match(PKCE::make().verifier).hasMatch());
        QVERIFY(PKCE::make().verifier != PKCE::make().verifier);
    }

    void versions_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("read"); // "no" for none
        for (const auto& [text, read] : std::initializer_list<std::pair<const char*, const char*>>{
                 {"1.02", "1.2"},
                 {" 1.2.3\t", "1.2.3"},
                 {"+1.2", "1.2"},
                 {"", "no"},
                 {"1..2", "no"},
                 {".1", "no"},
                 {"1.", "no"},
                 {"1.2.3-beta", "no"},
                 {"x1.2", "no"},
                 {"1.-2", "no"},
                 {"1. 2", "no"},
                 {"1.2\n", "no"},
                 {"1.\n2", "no"},
                 {"1.+", "no"},
                 {"9223372036854775807", "9223372036854775807"},
                 {"9223372036854775808", "no"},
                 {"999999999999999999999", "no"}})
            QTest::newRow(text) << text << read;
    }
    void versions() {
        QFETCH(QString, text);
        const auto version = SemanticVersion::parse(text);
        QTEST(version ? version->description() : "no", "read");
    }

    void updates_data() {
        QTest::addColumn<QString>("current");
        QTest::addColumn<QString>("latest");
        QTest::addColumn<QString>("minimum");
        QTest::addColumn<QString>("dismissed");
        QTest::addColumn<int>("state");
        const auto row = [](const char* current, const char* latest, const char* minimum,
                            const char* dismissed, UpdateState::Case state) {
            QTest::addRow("%s %s %s %s", current, latest, minimum, dismissed)
                << current << latest << minimum << dismissed << int(state);
        };
        using enum UpdateState::Case;
        row("1.0.0", "1.1.0", "1.0.0", "", available);
        row("1.0.0", "1.1.0", "1.0.0", "1.1.0", none);
        row("1.0.0", "1.1.0", "1.0.0", "1.1", available); // as a text
        row("1.0.0", "1.1.0", "1.0.5", "1.1.0", required);
        row("1.0.0", "1.1.0", "9.9", "", required); // no more than the newest
        row("1.2.0", "1.1.0", "9.9", "", none);
        row("1.9", "1.10", "n/a", "", available);
        row("1.2", "1.2.0", "1.2.0.0", "", none);
        row("2", "1.99.99", "", "", none);
        row("dev", "1.1.0", "1.1.0", "", none);
        row("1", "newest", "9", "", none);
    }
    void updates() {
        QFETCH(QString, current);
        QFETCH(QString, latest);
        QFETCH(QString, minimum);
        QFETCH(QString, dismissed);
        const ReleaseInfo release{latest, minimum, "https://example.com", "notes"};
        const auto chosen = dismissed.isEmpty() ? std::nullopt : std::optional(dismissed);
        QTEST(int(UpdateState::evaluate(current, release, chosen).state), "state");
        QCOMPARE(ReleaseInfo::fromJson(release.toJson()), release);
    }

    void reportsAreShort() {
        const QString family = QString::fromUtf8("👨‍👩‍👧"); // 8 units, one character
        const auto report =
            ErrorReport::report(QString(70, 'k'), QString(508, 'm') + family, "", {});
        QCOMPARE(report.kind.size(), 64);
        QCOMPARE(report.message, QString(508, 'm'));
        QCOMPARE(ErrorReport::report("k", QString(512, 'm'), "", {}).message.size(), 512);
    }
};

QTEST_GUILESS_MAIN(RecordsTest)
#include "RecordsTest.moc"
