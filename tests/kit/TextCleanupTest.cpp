#include "MurloKit/TextCleanup.h"

#include "MurloKit/Characters.h"

#include <QElapsedTimer>
#include <QTest>

namespace murlo {

class TextCleanupTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleans_data() {
        QTest::addColumn<QString>("written");
        QTest::addColumn<QString>("cleaned");
        const auto add = [](const char* written, const char* cleaned) {
            QTest::newRow(written) << QString::fromUtf8(written) << QString::fromUtf8(cleaned);
        };
        add("[BLANK_AUDIO]\n", "");
        add("(Laughter) so (SIGHS) yes", "so yes");
        add("[MUSIC PLAYING] [applause-like] [name]", "[name]");
        add("(clears throat softly) (sigh) (cough) [inaudible] [Silence] (noise) on", "on");
        add("one [ MUSIC] two", "one [ MUSIC] two"); // the word comes right behind the bracket
        add("one (MUSIC] two [music)", "one two");   // either bracket closes
        add("one (music\nand more) two", "one two");
        add("one [MUSIC two", "one [MUSIC two");
        add("one [MUSIC (NOISE) two", "one two");
        add("a\n\nb", "a\n\nb");
        add("a\n\n\n\nb", "a\n\nb");
        add("a \t b\tc", "a b\tc");
        add("a\n[MUSIC]\n\nb", "a\n\nb");
        add("\xc2\xa0 \xe2\x80\x83naïve — „ja“ \xe2\x80\xa8", "naïve — „ja“");
    }
    void cleans() {
        QFETCH(QString, written);
        QTEST(TextCleanup::clean(written), "cleaned");
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
};

} // namespace murlo

QTEST_GUILESS_MAIN(murlo::TextCleanupTest)
#include "TextCleanupTest.moc"
