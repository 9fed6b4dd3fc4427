#include "dictation/TextInserter.h"
#include "tests/support/FakeAccessibility.h"
#include "tests/support/FakeKeySynthesizer.h"
#include "tests/support/FakePasteboard.h"
#include "tests/support/TestLog.h"
#include "tests/support/VirtualScheduler.h"

#include <QtTest>

using namespace murlo;

namespace {

const PasteboardItem users{{"UTF8_STRING", "the user's"},
                           {"image/png", QByteArray("\x89PNG\0\x01", 6)}};
const PasteboardItem others{{"UTF8_STRING", "copied meanwhile"}};
const QString dictated = "dictated";

} // namespace

class TextInserterTest : public QObject {
    Q_OBJECT

    /// An inserter among fakes, a focused text box and the user's own clipboard.
    struct Rig {
        Rig() {
            keys.onChord = [this](const KeyChord& chord) {
                QCOMPARE(chord.keyCode, 9);
                QCOMPARE(chord.flags, 0x100000U);
                pasted.append(pasteboard.text().value_or("(nothing)"));
            };
            focus("AXTextArea");
            pasteboard.foreignCopy(users);
            scheduler.runPending();
        }
        TextInserter::Outcome insert(const QString& text, InsertMode mode = InsertMode::paste) {
            return inserter->insert(text, mode);
        }
        void focus(const QString& role) { accessibility.setFocused(accessibility.add(role)); }

        VirtualScheduler scheduler;
        FakeAccessibility accessibility{scheduler};
        FakePasteboard pasteboard{scheduler};
        FakeKeySynthesizer keys{scheduler};
        QStringList pasted; ///< what the focused program got by each paste chord
        std::unique_ptr<TextInserter> inserter =
            std::make_unique<TextInserter>(scheduler, accessibility, pasteboard, keys);
    };
    std::unique_ptr<Rig> m;

private Q_SLOTS:
    void init() { m = std::make_unique<Rig>(); }
    void cleanup() { m.reset(); }

    void whatCannotBeInsertedIsCopiedAndTheUserTold_data() {
        QTest::addColumn<InsertMode>("mode");
        QTest::addColumn<bool>("trusted");
        QTest::addColumn<bool>("keys");
        QTest::addColumn<QString>("role");
        QTest::addColumn<QString>("message");
        const auto row = [](const char* name, InsertMode mode, bool trusted, bool keys,
                            const char* role, const char* message) {
            QTest::newRow(name) << mode << trusted << keys << QString(role) << QString(message);
        };
        using enum InsertMode;
        const char* copyOnly = "Copy-only mode is on.";
        const char* noAccess = "Accessibility access is off, so the text was copied instead.";
        const char* noBox = "No text box has focus. Click into one and paste with ⌘V.";
        row("copy-only", clipboardOnly, true, true, "AXTextField", copyOnly);
        row("copy-only comes first", clipboardOnly, false, true, "AXButton", copyOnly);
        row("no access", paste, false, true, "AXTextField", noAccess);
        row("access comes before focus", type, false, true, "AXButton", noAccess);
        row("keys cannot be sent", type, true, false, "AXTextField", noAccess);
        row("nothing to paste into", paste, true, true, "AXButton", noBox);
        row("nothing to type into", type, true, true, "AXButton", noBox);
    }
    void whatCannotBeInsertedIsCopiedAndTheUserTold() {
        QFETCH(InsertMode, mode);
        QFETCH(bool, trusted);
        QFETCH(bool, keys);
        QFETCH(QString, role);
        QFETCH(QString, message);
        m->accessibility.setTrusted(trusted);
        m->keys.available = keys;
        m->focus(role);
        QCOMPARE(m->insert(dictated, mode), message);
        m->scheduler.advance(1);
        QCOMPARE(m->pasteboard.text(), dictated);
        QVERIFY(m->keys.chords.isEmpty());
        QVERIFY(m->keys.chunks.isEmpty());
    }

    void anUnknownFocusIsGivenTheTextAllTheSame() {
        m->accessibility.setFocused(nullptr);
        QCOMPARE(m->insert(dictated), std::nullopt);
        QCOMPARE(m->insert(dictated, InsertMode::type), std::nullopt);
        m->scheduler.advance(1);
        QCOMPARE(m->pasted, QStringList{dictated});
        QCOMPARE(m->keys.typed(), dictated);
    }

    void whereNoChordPastesTheTextIsTyped() {
        m->keys.pastes = false;
        QCOMPARE(m->insert(dictated), std::nullopt);
        m->scheduler.advance(1);
        QVERIFY(m->keys.chords.isEmpty());
        QCOMPARE(m->keys.typed(), dictated);
    }

    void aPasteLendsTheClipboardForHalfASecond() {
        const auto prepared = m->inserter->prepare();
        m->scheduler.advance(3); // the user speaks
        QCOMPARE(m->insert(dictated), std::nullopt);
        QCOMPARE(m->pasted, QStringList{dictated}); // before insert returned
        QCOMPARE(m->pasteboard.readings, 1);
        QCOMPARE(m->insert(QString()), "Nothing was transcribed."); // and touches nothing
        m->scheduler.advance(0.449);
        QCOMPARE(m->pasteboard.text(), dictated);
        m->scheduler.advance(0.001);
        QCOMPARE(m->pasteboard.items(), QList<PasteboardItem>{users});
        m->scheduler.advance(1);
        QCOMPARE(m->keys.chords.size(), 1);
        QCOMPARE(m->pasteboard.written, QStringList{dictated});
    }

    void whatIsCopiedWhileTheUserSpeaksIsWhatComesBack() {
        auto prepared = m->inserter->prepare();
        m->scheduler.advance(1);
        m->pasteboard.foreignCopy(others);
        m->scheduler.runPending();
        QCOMPARE(m->pasteboard.readings, 2); // at once, not only when the text comes
        (void)m->inserter->insert(dictated, InsertMode::paste, std::move(prepared));
        m->scheduler.advance(0.45);
        QCOMPARE(m->pasteboard.items(), QList<PasteboardItem>{others});
        // No dictation is under way: what others copy is their own affair.
        m->pasteboard.foreignCopy(users);
        m->scheduler.runPending();
        QCOMPARE(m->pasteboard.readings, 2);
        QCOMPARE(m->scheduler.pendingTimers(), 0);
    }

    void everyKindOfClipboardComesBack() {
        m->pasteboard.foreignExit();
        m->insert(dictated);
        m->scheduler.advance(0.45);
        QVERIFY(m->pasteboard.items().isEmpty());

        const QList<PasteboardItem> several{users, others};
        m->pasteboard.foreignCopy(several);
        m->insert(dictated);
        m->scheduler.advance(0.45);
        QCOMPARE(m->pasteboard.items(), several);

        m->pasteboard.foreignCopy(users);
        m->pasteboard.foreignWithhold({"image/png"}); // the rest comes back all the same
        m->insert(dictated);
        m->scheduler.advance(0.45);
        QCOMPARE(m->pasteboard.items(), QList<PasteboardItem>{{users.first()}});
    }

    void whatIsCopiedAfterThePasteStays() {
        m->insert(dictated);
        m->scheduler.advance(0.2);
        m->pasteboard.foreignCopy(others);
        m->scheduler.advance(1);
        QCOMPARE(m->pasteboard.items(), QList<PasteboardItem>{others});
    }

    void aHungProgramDelaysNothingAndIsMentionedInTheLog() {
        const TestLog log(m->scheduler);
        m->pasteboard.foreignHang(true);
        const auto prepared = m->inserter->prepare();
        m->insert(dictated);
        QCOMPARE(m->pasted, QStringList{dictated});
        m->scheduler.advance(0.5);
        QVERIFY(m->pasteboard.items().isEmpty());
        QCOMPARE(log.lines("insert:"),
                 QStringList{"insert: 2 formats of the clipboard could not be kept"});
    }

    void twoQuickPastesEndWithTheUsersClipboardOrWithATextCopiedByRequest() {
        for (const bool copied : {false, true}) {
            init();
            const auto prepared = m->inserter->prepare();
            m->insert("one");
            m->scheduler.advance(0.1);
            if (copied) m->insert("copied", InsertMode::clipboardOnly);
            const auto preparedNext = m->inserter->prepare();
            m->insert("two");
            m->scheduler.advance(2);
            QCOMPARE(m->pasted, (QStringList{"one", "two"})); // each chord found its own text
            if (copied) QCOMPARE(m->pasteboard.text(), "copied");
            if (!copied) QCOMPARE(m->pasteboard.items(), QList<PasteboardItem>{users});
        }
    }

    void theEndOfTheProgramGivesTheClipboardBack() {
        m->insert(dictated);
        m->scheduler.advance(0.1);
        m->inserter.reset();
        QCOMPARE(m->pasteboard.items(), QList<PasteboardItem>{users});
        m->pasteboard.foreignCopy(others); // nobody is called any more
        m->scheduler.advance(1);
    }

    void typingSendsWholeCharactersInSmallChunks_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QList<int>>("sizes");
        const auto row = [](const char* name, const QString& text, const QList<int>& sizes) {
            QTest::newRow(name) << text << sizes;
        };
        const QString family = "👩‍👩‍👧‍👦"; // one character of 11 units
        const QString letters(40, QLatin1Char('a'));
        row("40 letters", letters, {16, 16, 8});
        row("16 letters", letters.left(16), {16});
        row("a character that would not fit", letters.left(6) + family, {6, 11});
        row("one that just fits", letters.left(5) + family, {16});
        row("surrogate pairs", QString("😀").repeated(9), {16, 2});
        row("combining marks", letters.left(15) + "e\u0301", {15, 2});
        row("longer than a chunk", "xe" + QString(20, QChar(0x0301)) + "y", {1, 21, 1});
        row("line breaks", "a\r\nb\nc", {6});
    }
    void typingSendsWholeCharactersInSmallChunks() {
        QFETCH(QString, text);
        QFETCH(QList<int>, sizes);
        QCOMPARE(m->insert(text, InsertMode::type), std::nullopt);
        QCOMPARE(m->keys.chunks.size(), 1);
        m->scheduler.advance(0.0039);
        QCOMPARE(m->keys.chunks.size(), 1);
        m->scheduler.advance(0.0002); // chunks follow each other every 4 ms
        for (qsizetype chunks = 2; chunks <= sizes.size(); ++chunks) {
            QCOMPARE(m->keys.chunks.size(), chunks);
            m->scheduler.advance(0.004);
        }
        QList<int> sent;
        for (const QString& chunk : m->keys.chunks) sent.append(static_cast<int>(chunk.size()));
        QCOMPARE(sent, sizes);
        QCOMPARE(m->keys.typed(), text);
        QCOMPARE(m->keys.endings, 1);
        QVERIFY(m->pasteboard.written.isEmpty());
    }

    void insertionsAreCarriedOutOneAfterAnother() {
        const QString first(100, QLatin1Char('a'));
        const QString second(20, QLatin1Char('b'));
        QStringList events;
        m->keys.onChord = [&](const KeyChord&) {
            events.append(m->keys.typed() + m->pasteboard.text().value_or(QString()));
        };
        m->insert(first, InsertMode::type);
        m->insert(second, InsertMode::type);
        m->insert(dictated, InsertMode::paste);
        bool idle = false;
        m->inserter->whenIdle([&] { idle = true; });
        // The outcome was decided when each was handed over.
        m->focus("AXButton");
        m->scheduler.advance(0.1);
        QCOMPARE(events, QStringList{first + second + dictated});
        QVERIFY(!idle);
        m->scheduler.advance(0.45);
        QVERIFY(idle);
        idle = false;
        m->inserter->whenIdle([&] { idle = true; });
        QVERIFY(idle);
    }
};

QTEST_GUILESS_MAIN(TextInserterTest)
#include "TextInserterTest.moc"
