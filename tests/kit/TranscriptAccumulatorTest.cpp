#include "MurloKit/TranscriptAccumulator.h"

#include <QTest>

using namespace murlo;

class TranscriptAccumulatorTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void previewsMergeIntoOneList_data() {
        QTest::addColumn<QStringList>("previews");
        QTest::addColumn<QString>("committed");
        QTest::addColumn<QString>("pending");
        const auto row = [](const char* name, const QStringList& previews, const char* committed,
                            const char* pending) {
            QTest::newRow(name) << previews << QString::fromLatin1(committed)
                                << QString::fromLatin1(pending);
        };
        row("the first stays open", {"hello world"}, "", "hello world");
        row("blank changes nothing", {"hello world", "   "}, "", "hello world");
        row("the seventh word locks the first",
            {"hello world", "Hello, world how are you doing today"}, "Hello,",
            "world how are you doing today");
        row("a preview of locked words alone is ignored",
            {"one two three four five six seven eight nine", "one two"}, "one two three",
            "four five six seven eight nine");
        row("the window slides on", {"a b c d e f g h i j", "c d e f g h i j k l"}, "a b c d e f",
            "g h i j k l");
        row("the tail is corrected", {"a b c d", "a b c delta"}, "", "a b c delta");
        row("a longer one replaces what matches nothing", {"x y", "p q r"}, "", "p q r");
        row("a shorter one does not", {"x y z", "p q"}, "", "x y z");
        row("nothing replaces locked words", {"a b c d e f g", "p q r s t u v w"}, "a",
            "b c d e f g");
        row("an exact repeat of what is locked keeps the tail", {"a b c d e f g h", "a b"}, "a b",
            "c d e f g h");
        row("apostrophes inside count", {"don't stop", "dont stop"}, "", "don't stop");
    }

    void previewsMergeIntoOneList() {
        QFETCH(QStringList, previews);
        QFETCH(QString, committed);
        QFETCH(QString, pending);
        TranscriptAccumulator accumulator(6);
        for (const QString& preview : previews) accumulator.ingest(preview);
        QCOMPARE(accumulator.committed().join(QLatin1Char(' ')), committed);
        QCOMPARE(accumulator.pending().join(QLatin1Char(' ')), pending);
    }

    void alignmentPrefersLengthThenAgreementThenTheEarlierStart() {
        const auto start = [](const char* existing, const char* incoming) {
            return TranscriptAccumulator::alignmentStart(wordsOf(QString::fromLatin1(existing)),
                                                         wordsOf(QString::fromLatin1(incoming)))
                .value_or(-1);
        };
        QCOMPARE(start("", "a"), -1);
        QCOMPARE(start("a b c d e", "c d e f g"), 2);
        QCOMPARE(start("a b a b", "a b"), 0);
        QCOMPARE(start("a x c a b c", "a b c"), 3); // same length, better agreement
        QCOMPARE(start("a b c", "x y z"), -1);
        QCOMPARE(start("a b c d e", "a b c x y"), 0); // exactly three in five
        QCOMPARE(start("a b c d e", "a b x y z"), -1);
    }

    void aWordKeepsItsIdentityInItsPlace() {
        TranscriptAccumulator accumulator(6);
        accumulator.ingest(QStringLiteral("hello world"));
        QCOMPARE(accumulator.words().first().id, QStringLiteral("0|hello"));
        accumulator.ingest(QStringLiteral("hello world again"));
        QCOMPARE(accumulator.words().at(1).id, QStringLiteral("1|world"));
        accumulator.reset();
        QVERIFY(accumulator.words().isEmpty());
    }
};

QTEST_APPLESS_MAIN(TranscriptAccumulatorTest)
#include "TranscriptAccumulatorTest.moc"
