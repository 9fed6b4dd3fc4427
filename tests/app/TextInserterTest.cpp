#include "dictation/delivery/TextInserter.h"
#include "look/Words.h"
#include "settings/Settings.h"
#include "tests/fakes/FakeAccessibility.h"
#include "tests/fakes/FakeApplications.h"
#include "tests/fakes/FakeKeySynthesizer.h"
#include "tests/fakes/FakePasteboard.h"
#include "tests/fakes/VirtualScheduler.h"
#include "tests/harness/TestLog.h"

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
            keys.onChord = [this](const KeyChord&) {
                pasted.append(pasteboard.text().value_or("(nothing)"));
            };
            focus("AXTextArea");
            pasteboard.foreignCopy(users);
            scheduler.runPending();
        }
        /// What the user is told; "…" while that is not known.
        std::optional<QString> insert(const QString& text, InsertMode mode = InsertMode::paste,
                                      std::shared_ptr<void> prepared = {}) {
            outcome = "…";
            inserter->insert(text, mode, std::move(prepared),
                             [this](const TextInserter::Outcome& told) {
                                 outcome.reset();
                                 if (told) outcome = Words::english(*told);
                             });
            return outcome;
        }
        void focus(const QString& role) { accessibility.setFocused(accessibility.add(role)); }

        std::optional<QString> outcome;
        QTemporaryDir folder;
        VirtualScheduler scheduler;
        std::unique_ptr<SerialQueue> disk = scheduler.makeSerialQueue("test.disk");
        Settings settings{Paths(folder.path()), *disk};
        FakeApplications applications;
        FakeAccessibility accessibility{scheduler};
        FakePasteboard pasteboard{scheduler};
        FakeKeySynthesizer keys{scheduler};
        QStringList pasted; ///< what the focused program got by each paste chord
        std::unique_ptr<TextInserter> inserter =
            std::make_unique<TextInserter>(TextInserter::Partners{
                scheduler, accessibility, applications, pasteboard, keys, settings});
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
        const char* noKeys =
            "Keys can't be sent to other programs, so the text was copied instead.";
        const char* noBox = "No text box has focus. Click into one and paste with ⌘V.";
        row("copy-only", clipboardOnly, true, true, "AXTextField", copyOnly);
        row("copy-only comes first", clipboardOnly, false, false, "AXButton", copyOnly);
        row("keys cannot be sent", type, true, false, "AXTextField", noKeys);
        row("keys come before focus", paste, false, false, "AXButton", noKeys);
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
        for (const bool trusted : {true, false}) { // as every stock desktop comes
            init();
            m->accessibility.setTrusted(trusted);
            if (trusted) m->accessibility.setFocused(nullptr);
            if (!trusted) m->focus("AXButton"); // not to be believed
            QCOMPARE(m->insert(dictated), std::nullopt);
            m->insert(dictated, InsertMode::type);
            m->scheduler.advance(1);
            QCOMPARE(m->outcome, std::nullopt);
            QCOMPARE(m->pasted, QStringList{dictated});
            QCOMPARE(m->keys.typed(), dictated);
        }
    }

    void eachProgramIsPastedIntoItsOwnWay_data() {
        QTest::addColumn<QStringList>("program");
        QTest::addColumn<QString>("subrole");
        QTest::addColumn<int>("key"); // -1: typed
        QTest::addColumn<quint32>("flags");
        const quint32 control = 0x40000;
        const quint32 shift = 0x20000;
        const auto row = [](const char* name, const QStringList& program, const char* subrole,
                            int key, quint32 flags) {
            QTest::newRow(name) << program << QString(subrole) << key << flags;
        };
        row("most", {"mousepad"}, "", 9, control);
        row("none known", {}, "", 9, control);
        row("a terminal by its class", {"konsole"}, "", 9, control | shift);
        row("a terminal by its role", {"unheard-of"}, "AXTerminal", 9, control | shift);
        row("Emacs", {"emacs", "emacs"}, "", 114, shift);
        row("an old terminal, whatever its role", {"xterm"}, "AXTerminal", -1, 0);
        row("the user's own row comes first", {"x", "mine"}, "", 114, shift);
        row("the user's own for a known one", {"kitty"}, "", -1, 0);
        row("a row of the user's that makes no sense", {"gvim"}, "", -1, 0);
    }
    void eachProgramIsPastedIntoItsOwnWay() {
        QFETCH(QStringList, program);
        QFETCH(QString, subrole);
        QFETCH(int, key);
        QFETCH(quint32, flags);
        init();
        QFile file(m->folder.filePath("settings.json"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(R"({"pasteWays": {"Mine": "Shift+Insert", "kitty": "type", "gvim": "ctrl+9"}})");
        file.close();
        Settings settings(Paths(m->folder.path()), *m->disk);
        TextInserter inserter(
            {m->scheduler, m->accessibility, m->applications, m->pasteboard, m->keys, settings});
        m->applications.program = program;
        m->focus("AXTextArea/" + subrole);
        inserter.insert(dictated, InsertMode::paste, {}, [](const auto&) {});
        m->scheduler.advance(1);
        if (key >= 0) QCOMPARE(m->keys.chords, (QList<KeyChord>{{key, flags}}));
        QCOMPARE(m->keys.typed(), key < 0 ? dictated : QString());
    }

    void whatCouldNotBeSentIsCopiedAndTold_data() {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<bool>("inserted");
        QTest::newRow("the chord lacks a key: typed instead") << "key" << true;
        QTest::newRow("the display is gone at the chord") << "display" << false;
        QTest::newRow("the display goes while it is typed") << "typing" << false;
    }
    void whatCouldNotBeSentIsCopiedAndTold() {
        QFETCH(QString, fault);
        QFETCH(bool, inserted);
        const QString text = dictated.repeated(5);
        if (fault != "display") m->keys.chordFailure = KeyFailure::missingKey;
        if (fault == "display") m->keys.chordFailure = KeyFailure::noAccess;
        if (fault == "typing") m->keys.chunksThatWork = 1;
        m->insert(text);
        m->scheduler.advance(1);
        QCOMPARE(m->outcome.has_value(), !inserted);
        QCOMPARE(m->keys.typed() == text, inserted);
        if (inserted) QCOMPARE(m->pasteboard.items(), QList<PasteboardItem>{users});
        if (!inserted) QCOMPARE(m->pasteboard.text(), text);
    }

    void aTextCopiedForTheUserOutlivesTheNextPaste() {
        m->focus("AXButton");
        QVERIFY(m->insert("for the user").has_value());
        m->focus("AXTextArea");
        const auto prepared = m->inserter->prepare();
        QCOMPARE(m->insert(dictated), std::nullopt);
        m->scheduler.advance(1);
        QCOMPARE(m->pasted, QStringList{dictated});
        QCOMPARE(m->pasteboard.text(), "for the user");
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
        m->insert(dictated, InsertMode::paste, std::move(prepared));
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
        QVERIFY(m->pasted.isEmpty()); // a program may have to notice that there is a text now
        m->scheduler.advance(0.08);
        QCOMPARE(m->pasted, QStringList{dictated});
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

    void aProgramThatWasBusyAtTheTriggerIsAskedAgain() {
        m->pasteboard.foreignHang(true);
        const auto prepared = m->inserter->prepare();
        m->scheduler.advance(1);
        m->pasteboard.foreignHang(false);
        m->insert(dictated);
        m->scheduler.advance(0.5);
        QCOMPARE(m->pasteboard.items(), QList<PasteboardItem>{users});
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
        QCOMPARE(m->insert(text, InsertMode::type), "…");
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
        QCOMPARE(m->outcome, std::nullopt);
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
