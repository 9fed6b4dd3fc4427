#include "dictation/TextInserter.h"
#include "tests/support/FakeAccessibility.h"
#include "tests/support/FakeKeySynthesizer.h"
#include "tests/support/FakePasteboard.h"
#include "tests/support/TestLog.h"
#include "tests/support/VirtualScheduler.h"

#include <QtTest>

using namespace murlo;

namespace {

const PasteboardItem users{{QStringLiteral("UTF8_STRING"), "the user's"},
                           {QStringLiteral("image/png"), QByteArray("\x89PNG\0\x01", 6)}};
const PasteboardItem others{{QStringLiteral("UTF8_STRING"), "copied meanwhile"}};
const QString dictated = QStringLiteral("dictated");

} // namespace

class TextInserterTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<VirtualScheduler> m_scheduler;
    std::unique_ptr<FakeAccessibility> m_accessibility;
    std::unique_ptr<FakePasteboard> m_pasteboard;
    std::unique_ptr<FakeKeySynthesizer> m_keys;
    std::unique_ptr<TextInserter> m_inserter;
    QStringList m_pasted; ///< what the focused program got by each paste chord

    TextInserter::Outcome insert(const QString& text, InsertMode mode = InsertMode::paste) {
        return m_inserter->insert(text, mode);
    }
    void focus(const char* role) {
        m_accessibility->setFocused(m_accessibility->add(QString::fromLatin1(role)));
    }

private Q_SLOTS:
    void init() {
        m_inserter.reset();
        m_scheduler = std::make_unique<VirtualScheduler>();
        m_accessibility = std::make_unique<FakeAccessibility>(*m_scheduler);
        m_pasteboard = std::make_unique<FakePasteboard>(*m_scheduler);
        m_keys = std::make_unique<FakeKeySynthesizer>(*m_scheduler);
        m_pasted.clear();
        m_keys->onChord = [this](const KeyChord& chord) {
            QCOMPARE(chord.keyCode, 9);
            QCOMPARE(chord.flags, 0x100000U);
            m_pasted.append(m_pasteboard->text().value_or(QStringLiteral("(nothing)")));
        };
        m_inserter =
            std::make_unique<TextInserter>(*m_scheduler, *m_accessibility, *m_pasteboard, *m_keys);
        focus("AXTextArea");
        m_pasteboard->foreignCopy(users);
        m_scheduler->runPending();
    }
    void cleanupTestCase() { m_inserter.reset(); }

    void whatCannotBeInsertedIsCopiedAndTheUserTold_data() {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<bool>("trusted");
        QTest::addColumn<bool>("keys");
        QTest::addColumn<QString>("role");
        QTest::addColumn<QString>("message");
        const QString box = QStringLiteral("AXTextField");
        const QString copyOnly = QStringLiteral("Copy-only mode is on.");
        const QString noAccess =
            QStringLiteral("Accessibility access is off, so the text was copied instead.");
        const QString noBox =
            QStringLiteral("No text box has focus. Click into one and paste with ⌘V.");
        const auto paste = QStringLiteral("paste");
        const auto type = QStringLiteral("type");
        const auto copy = QStringLiteral("clipboardOnly");
        QTest::newRow("copy-only") << copy << true << true << box << copyOnly;
        QTest::newRow("copy-only comes first") << copy << false << true << "AXButton" << copyOnly;
        QTest::newRow("no access") << paste << false << true << box << noAccess;
        QTest::newRow("access comes before focus")
            << type << false << true << "AXButton" << noAccess;
        QTest::newRow("keys cannot be sent") << type << true << false << box << noAccess;
        QTest::newRow("nothing to paste into") << paste << true << true << "AXButton" << noBox;
        QTest::newRow("nothing to type into") << type << true << true << "AXButton" << noBox;
    }
    void whatCannotBeInsertedIsCopiedAndTheUserTold() {
        QFETCH(QString, mode);
        QFETCH(bool, trusted);
        QFETCH(bool, keys);
        QFETCH(QString, role);
        m_accessibility->setTrusted(trusted);
        m_keys->available = keys;
        focus(role.toLatin1().constData());
        QTEST(insert(dictated, insertModeFromRawValue(mode)).value_or(QString()), "message");
        m_scheduler->advance(1);
        QCOMPARE(m_pasteboard->text(), dictated);
        QVERIFY(m_keys->chords.isEmpty());
        QVERIFY(m_keys->chunks.isEmpty());
    }

    void anEmptyTextTouchesNothing() {
        QCOMPARE(insert(QString()), QStringLiteral("Nothing was transcribed."));
        m_scheduler->advance(1);
        QCOMPARE(m_pasteboard->items(), QList<PasteboardItem>{users});
        QVERIFY(m_keys->chords.isEmpty());
    }

    void anUnknownFocusIsGivenTheTextAllTheSame() {
        m_accessibility->setFocused(nullptr);
        QCOMPARE(insert(dictated), std::nullopt);
        QCOMPARE(insert(dictated, InsertMode::type), std::nullopt);
        m_scheduler->advance(1);
        QCOMPARE(m_pasted, QStringList{dictated});
        QCOMPARE(m_keys->typed(), dictated);
    }

    void aPasteLendsTheClipboardForHalfASecond() {
        const auto prepared = m_inserter->prepare();
        m_scheduler->advance(3); // the user speaks
        QCOMPARE(insert(dictated), std::nullopt);
        QCOMPARE(m_pasted, QStringList{dictated}); // before insert returned
        QCOMPARE(m_pasteboard->readings, 1);
        m_scheduler->advance(0.449);
        QCOMPARE(m_pasteboard->text(), dictated);
        m_scheduler->advance(0.001);
        QCOMPARE(m_pasteboard->items(), QList<PasteboardItem>{users});
    }

    void whatIsCopiedWhileTheUserSpeaksIsWhatComesBack() {
        auto prepared = m_inserter->prepare();
        m_scheduler->advance(1);
        m_pasteboard->foreignCopy(others);
        m_scheduler->runPending();
        QCOMPARE(m_pasteboard->readings, 2); // at once, not only when the text comes
        (void)m_inserter->insert(dictated, InsertMode::paste, std::move(prepared));
        m_scheduler->advance(0.45);
        QCOMPARE(m_pasteboard->items(), QList<PasteboardItem>{others});
        // No dictation is under way: what others copy is their own affair.
        m_pasteboard->foreignCopy(users);
        m_scheduler->runPending();
        QCOMPARE(m_pasteboard->readings, 2);
        QCOMPARE(m_scheduler->pendingTimers(), 0);
    }

    void whatIsCopiedAfterThePasteStays() {
        insert(dictated);
        m_scheduler->advance(0.2);
        m_pasteboard->foreignCopy(others);
        m_scheduler->advance(1);
        QCOMPARE(m_pasteboard->items(), QList<PasteboardItem>{others});
    }

    void anEmptyClipboardIsEmptyAgain() {
        m_pasteboard->foreignExit();
        insert(dictated);
        m_scheduler->advance(0.45);
        QVERIFY(m_pasteboard->items().isEmpty());
    }

    void severalItemsKeepTheirOrder() {
        m_pasteboard->foreignCopy(QList<PasteboardItem>{users, others});
        insert(dictated);
        m_scheduler->advance(0.45);
        QCOMPARE(m_pasteboard->items(), (QList<PasteboardItem>{users, others}));
    }

    void aHungProgramDelaysNothingAndIsMentionedInTheLog() {
        const TestLog log(*m_scheduler);
        m_pasteboard->foreignHang(true);
        const auto prepared = m_inserter->prepare();
        insert(dictated);
        QCOMPARE(m_pasted, QStringList{dictated});
        m_scheduler->advance(0.5);
        QVERIFY(m_pasteboard->items().isEmpty());
        QCOMPARE(
            log.lines(QStringLiteral("insert:")),
            QStringList{QStringLiteral("insert: 2 formats of the clipboard could not be kept")});
    }

    void theRestOfAContentComesBackWhenOneFormatDoesNotArrive() {
        m_pasteboard->foreignWithhold({QStringLiteral("image/png")});
        insert(dictated);
        m_scheduler->advance(0.45);
        QCOMPARE(m_pasteboard->items(), QList<PasteboardItem>{{users.first()}});
    }

    void twoQuickPastesEndWithTheUsersClipboard() {
        const auto prepared = m_inserter->prepare();
        insert(QStringLiteral("one"));
        m_scheduler->advance(0.1);
        const auto preparedNext = m_inserter->prepare();
        QCOMPARE(insert(QStringLiteral("two")), std::nullopt);
        m_scheduler->advance(2);
        // Each chord found its own text, and neither text is what stays.
        QCOMPARE(m_pasted, (QStringList{QStringLiteral("one"), QStringLiteral("two")}));
        QCOMPARE(m_pasteboard->items(), QList<PasteboardItem>{users});
    }

    void aTextCopiedByRequestSurvivesThePasteBeforeAndTheOneAfter() {
        insert(QStringLiteral("one"));
        insert(QStringLiteral("copied"), InsertMode::clipboardOnly);
        insert(QStringLiteral("two"));
        m_scheduler->advance(2);
        QCOMPARE(m_pasted, (QStringList{QStringLiteral("one"), QStringLiteral("two")}));
        QCOMPARE(m_pasteboard->text(), QStringLiteral("copied"));
    }

    void theEndOfTheProgramGivesTheClipboardBack() {
        insert(dictated);
        m_scheduler->advance(0.1);
        m_inserter.reset();
        QCOMPARE(m_pasteboard->items(), QList<PasteboardItem>{users});
        m_pasteboard->foreignCopy(others); // nobody is called any more
        m_scheduler->advance(1);
    }

    void typingSendsWholeCharactersInSmallChunks_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QList<int>>("sizes");
        const QString family =
            QStringLiteral("👩‍👩‍👧‍👦"); // one character of 11 units
        const QString letters(40, QLatin1Char('a'));
        QTest::newRow("40 letters") << letters << QList<int>{16, 16, 8};
        QTest::newRow("16 letters") << letters.left(16) << QList<int>{16};
        QTest::newRow("a character that would not fit")
            << letters.left(6) + family << QList<int>{6, 11};
        QTest::newRow("one that just fits") << letters.left(5) + family << QList<int>{16};
        QTest::newRow("surrogate pairs") << QStringLiteral("😀").repeated(9) << QList<int>{16, 2};
        QTest::newRow("combining marks")
            << letters.left(15) + QStringLiteral("e\u0301") << QList<int>{15, 2};
        QTest::newRow("longer than a chunk") << QStringLiteral("x") + QStringLiteral("e") +
                                                    QString(20, QChar(0x0301)) + QStringLiteral("y")
                                             << QList<int>{1, 21, 1};
        QTest::newRow("line breaks") << QStringLiteral("a\r\nb\nc") << QList<int>{6};
    }
    void typingSendsWholeCharactersInSmallChunks() {
        QFETCH(QString, text);
        QCOMPARE(insert(text, InsertMode::type), std::nullopt);
        m_scheduler->advance(1);
        QList<int> sizes;
        for (const QString& chunk : m_keys->chunks) sizes.append(static_cast<int>(chunk.size()));
        QTEST(sizes, "sizes");
        QCOMPARE(m_keys->typed(), text);
        QCOMPARE(m_keys->endings, 1);
        QVERIFY(m_pasteboard->written.isEmpty());
    }

    void chunksFollowEachOtherBySteps() {
        insert(QString(40, QLatin1Char('a')), InsertMode::type);
        QCOMPARE(m_keys->chunks.size(), 1);
        m_scheduler->advance(0.0039);
        QCOMPARE(m_keys->chunks.size(), 1);
        m_scheduler->advance(0.0002);
        QCOMPARE(m_keys->chunks.size(), 2);
        m_scheduler->advance(0.004);
        QCOMPARE(m_keys->chunks.size(), 3);
    }

    void insertionsAreCarriedOutOneAfterAnother() {
        const QString first(100, QLatin1Char('a'));
        const QString second(20, QLatin1Char('b'));
        QStringList events;
        m_keys->onChord = [&](const KeyChord&) {
            events.append(m_keys->typed() + m_pasteboard->text().value_or(QString()));
        };
        insert(first, InsertMode::type);
        insert(second, InsertMode::type);
        insert(dictated, InsertMode::paste);
        bool idle = false;
        m_inserter->whenIdle([&] { idle = true; });
        // The outcome was decided when each was handed over.
        focus("AXButton");
        m_scheduler->advance(0.1);
        QCOMPARE(events, QStringList{first + second + dictated});
        QVERIFY(!idle);
        m_scheduler->advance(0.45);
        QVERIFY(idle);
        idle = false;
        m_inserter->whenIdle([&] { idle = true; });
        QVERIFY(idle);
    }
};

QTEST_GUILESS_MAIN(TextInserterTest)
#include "TextInserterTest.moc"
