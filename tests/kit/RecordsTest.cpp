#include "MurloKit/ErrorReport.h"
#include "MurloKit/PKCE.h"
#include "MurloKit/ReleaseInfo.h"
#include "MurloKit/SemanticVersion.h"
#include "tests/harness/Rows.h"

#include <QRegularExpression>

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
        const Rows<QString> read; // "no" for none
        read("1.02", "1.2");
        read(" 1.2.3\t", "1.2.3");
        read("+1.2", "1.2");
        read("9223372036854775807", "9223372036854775807");
        for (const char* text :
             {"", "1..2", ".1", "1.", "1.2.3-beta", "x1.2", "1.-2", "1. 2", "1.2\n", "1.\n2", "1.+",
              "9223372036854775808", "999999999999999999999"})
            read(text, "no");
    }
    void versions() {
        const auto [read] = fetch<QString>();
        const auto version = SemanticVersion::parse(QTest::currentDataTag());
        QCOMPARE(version ? version->description() : "no", read);
    }

    void updates_data() {
        const Rows<UpdateState::Case> state; // of: current, latest, minimum, dismissed
        using enum UpdateState::Case;
        state("1.0.0,1.1.0,1.0.0,", available);
        state("1.0.0,1.1.0,1.0.0,1.1.0", none);
        state("1.0.0,1.1.0,1.0.0,1.1", available); // as a text
        state("1.0.0,1.1.0,1.0.5,1.1.0", required);
        state("1.0.0,1.1.0,9.9,", required); // no more than the newest
        state("1.2.0,1.1.0,9.9,", none);
        state("1.9,1.10,n/a,", available);
        state("1.2,1.2.0,1.2.0.0,", none);
        state("2,1.99.99,,", none);
        state("dev,1.1.0,1.1.0,", none);
        state("1,newest,9,", none);
    }
    void updates() {
        const auto [state] = fetch<UpdateState::Case>();
        const QStringList versions = QString(QTest::currentDataTag()).split(',');
        const ReleaseInfo release{versions[1], versions[2], "https://example.com", "notes"};
        const auto dismissed = versions[3].isEmpty() ? std::nullopt : std::optional(versions[3]);
        QCOMPARE(UpdateState::evaluate(versions[0], release, dismissed).state, state);
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
