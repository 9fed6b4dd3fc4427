#include "look/Words.h"

#include <QLocale>
#include <QRegularExpression>
#include <QTest>

using namespace murlo;

class WordsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { Words::speak(QLocale::c()); }

    void aMessageIsReadInItsReadersLanguageAndLoggedInOurs() {
        const Message message = Word::copied + Message(Word::noTextBox);
        const QString written =
            "Copied to clipboard. No text box has focus. Click into one and paste with ⌘V.";
        QCOMPARE(Words::english(message), written);
        QCOMPARE(Words::shown(message), QString(written).replace("⌘V", "Ctrl+V"));
        Words::speak(QLocale("de_AT"));
        QCOMPARE(Words::shown(message),
                 "In die Zwischenablage kopiert. Kein Textfeld hat den Fokus. Klicken Sie in eines "
                 "und fügen Sie mit Ctrl+V ein.");
        QCOMPARE(Words::english(message), written);
        Words::speak(QLocale("fi"));
        QCOMPARE(Words::shown(Word::quit), "Quit");
    }

    void whatAMessageIsAboutIsTakenAsItIs() {
        const Message message(Word::engineErrorSaying, {"500", "100%1 %2"});
        QCOMPARE(Words::english(message), "Speech engine error 500: 100%1 %2");
        QCOMPARE(Words::forReport(message), "Speech engine error 500: …");
    }

    void everyLanguageHasEveryWordWithItsPlaces() {
        static const QRegularExpression place("%\\d");
        const auto places = [](const QString& text) {
            QStringList all;
            for (auto found = place.globalMatch(text); found.hasNext();)
                all << found.next().captured();
            all.sort();
            return all;
        };
        int same = 0;
        for (int i = 0; i < int(Word::count); ++i) {
            const Message message{Word(i)};
            const QString english = Words::english(message);
            Words::speak(QLocale("de"));
            const QString german = Words::shown(message);
            Words::speak(QLocale::c());
            same += german == english;
            QCOMPARE(places(german), places(english));
        }
        QCOMPARE(same, 7); // "%1", "Murlo %1", "%1 MB", "%1 % ·", "Murlo", "OK" and the Fn key
        for (const TriggerKeyInfo& key : triggerKeys())
            QCOMPARE(Words::english(Words::nameOf(key.key)), label(key.key));
    }
};

QTEST_GUILESS_MAIN(WordsTest)
#include "WordsTest.moc"
