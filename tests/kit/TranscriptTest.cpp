#include "MurloKit/Characters.h"
#include "MurloKit/TextCleanup.h"
#include "MurloKit/TranscriptAccumulator.h"
#include "tests/harness/Rows.h"

#include <QElapsedTimer>

using namespace murlo;

/// What becomes of the engine's words.
class TranscriptTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleans_data() {
        const Rows<QString> cleaned; // by what was written
        cleaned("[BLANK_AUDIO]\n", "");
        cleaned("(Laughter) so (SIGHS) yes", "so yes");
        cleaned("[MUSIC PLAYING] [applause-like] [name]", "[name]");
        cleaned("(clears throat softly) (sigh) (cough) [inaudible] [Silence] (noise) on", "on");
        cleaned("one [ MUSIC] two", "one [ MUSIC] two"); // the word comes right behind the bracket
        cleaned("one (MUSIC] two [music)", "one two");   // either bracket closes
        cleaned("one (music\nand more) two", "one two");
        cleaned("one [MUSIC two", "one [MUSIC two");
        cleaned("one [MUSIC (NOISE) two", "one two");
        cleaned("a\n\nb", "a\n\nb");
        cleaned("a\n\n\n\nb", "a\n\nb");
        cleaned("a \t b\tc", "a b\tc");
        cleaned("a\n[MUSIC]\n\nb", "a\n\nb");
        cleaned("\xc2\xa0 \xe2\x80\x83naïve — „ja“ \xe2\x80\xa8", "naïve — „ja“");
    }
    void cleans() {
        const auto [cleaned] = fetch<QString>();
        QCOMPARE(TextCleanup::clean(QString::fromUtf8(QTest::currentDataTag())), cleaned);
    }

    void takesNoLongerThanTheTextIsLong() {
        // Markers that never end, nested brackets, blanks, markers.
        for (const QString piece : {"(music ", "[(", "  \t", "[MUSIC]\n"}) {
            QElapsedTimer timer;
            timer.start();
            const QString cleaned = TextCleanup::clean(piece.repeated(400'000));
            QVERIFY(cleaned.size() <= piece.size() * 400'000);
            QVERIFY2(timer.elapsed() < 10'000, "quadratic time would be hours");
        }
    }

    void theFirstCharactersKeepTheirMarks() {
        const QString text = QString::fromUtf8("ae\u0301🇩🇪👩‍👩‍👧b");
        QCOMPARE(Characters::first(text, 0), QString());
        QCOMPARE(Characters::first(text, 2), text.first(3));
        QCOMPARE(Characters::first(text, 4), text.chopped(1));
        QCOMPARE(Characters::first(text, 99), text);
    }

    void previewsMergeIntoOneList_data() {
        const Rows<QStringList, QString> row; // committed words | pending ones
        row("the first stays open", {"hello world"}, "|hello world");
        row("blank changes nothing", {"hello world", "   "}, "|hello world");
        row("the seventh word locks the first",
            {"hello world", "Hello, world how are you doing today"},
            "Hello,|world how are you doing today");
        row("a preview of locked words alone is ignored",
            {"one two three four five six seven eight nine", "one two"},
            "one two three|four five six seven eight nine");
        row("the window slides on", {"a b c d e f g h i j", "c d e f g h i j k l"},
            "a b c d e f|g h i j k l");
        row("the tail is corrected", {"a b c d", "a b c delta"}, "|a b c delta");
        row("a longer one replaces what matches nothing", {"x y", "p q r"}, "|p q r");
        row("a shorter one does not", {"x y z", "p q"}, "|x y z");
        row("nothing replaces locked words", {"a b c d e f g", "p q r s t u v w"}, "a|b c d e f g");
        row("a repeat of what is locked keeps the tail", {"a b c d e f g h", "a b"},
            "a b|c d e f g h");
        row("apostrophes inside count", {"don't stop", "dont stop"}, "|don't stop");
    }
    void previewsMergeIntoOneList() {
        const auto [previews, merged] = fetch<QStringList, QString>();
        TranscriptAccumulator accumulator(6);
        for (const QString& preview : previews) accumulator.ingest(preview);
        QCOMPARE(accumulator.committed().join(' ') + '|' + accumulator.pending().join(' '), merged);
    }

    void alignmentPrefersLengthThenAgreementThenTheEarlierStart() {
        const auto start = [](const char* existing, const char* incoming) {
            return TranscriptAccumulator::alignmentStart(wordsOf(existing), wordsOf(incoming))
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
        accumulator.ingest("hello world");
        QCOMPARE(accumulator.words().first().id, "0|hello");
        accumulator.ingest("hello world again");
        QCOMPARE(accumulator.words().at(1).id, "1|world");
        accumulator.reset();
        QVERIFY(accumulator.words().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TranscriptTest)
#include "TranscriptTest.moc"
