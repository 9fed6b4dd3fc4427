#include "dictation/delivery/TextInserter.h"
#include "look/Words.h"
#include "settings/Settings.h"
#include "tests/fakes/FakeAccessibility.h"
#include "tests/fakes/FakeApplications.h"
#include "tests/fakes/FakeKeySynthesizer.h"
#include "tests/fakes/FakePasteboard.h"
#include "tests/harness/Rows.h"
#include "tests/harness/SupportFolder.h"
#include "tests/harness/TestLog.h"

using namespace murlo;

namespace {

const PasteboardItem users{{"UTF8_STRING", "the user's"},
                           {"image/png", QByteArray("\x89PNG\0\x01", 6)}};
const PasteboardItem others{{"UTF8_STRING", "copied meanwhile"}};
const QString dictated = "dictated";

/// What an insertion meets.
struct Case {
    InsertMode mode = InsertMode::paste;
    bool trusted = true;
    bool keys = true;
    QString role = "AXTextArea"; ///< of the focus; empty: none
    std::optional<KeyFailure> chord = {};
    int pieces = 0; ///< that can be typed
};

} // namespace

class TextInserterTest : public QObject {
    Q_OBJECT

    /// An inserter among fakes, a focused text box and the user's own clipboard.
    struct Rig : SupportFolder {
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
        Settings settings{paths, *disk};
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

    void aTextIsPastedTypedOrCopiedAndTheUserTold_data() {
        const Rows<Case, QString, std::optional<QString>> row;
        const auto typed = InsertMode::type;
        const auto copied = InsertMode::clipboardOnly;
        const QString copyOnly = "Copy-only mode is on.";
        const QString noKeys =
            "Keys can't be sent to other programs, so the text was copied instead.";
        const QString noBox = "No text box has focus. Click into one and paste with ⌘V.";
        row("pasted", Case{}, "pasted");
        row("typed", Case{.mode = typed, .pieces = 3}, "typed");
        row("copy-only", {.mode = copied}, "copied", copyOnly);
        row("copy-only comes first", {.mode = copied, .keys = false, .role = "AXButton"}, "copied",
            copyOnly);
        row("keys cannot be sent", {.mode = typed, .keys = false}, "copied", noKeys);
        row("keys come before focus", {.keys = false, .role = "AXButton"}, "copied", noKeys);
        row("nothing to paste into", {.role = "AXButton"}, "copied", noBox);
        row("nothing to type into", {.mode = typed, .role = "AXButton"}, "copied", noBox);
        row("nothing known to paste into", Case{.role = ""}, "pasted");
        row("nothing known to type into", Case{.mode = typed, .role = "", .pieces = 3}, "typed");
        row("a focus not to be believed", Case{.trusted = false, .role = "AXButton"}, "pasted");
        row("a chord lacks a key", Case{.chord = KeyFailure::missingKey, .pieces = 3}, "typed");
        row("the display is gone at the chord", {.chord = KeyFailure::noAccess}, "copied", noKeys);
        row("the display goes meanwhile", {.chord = KeyFailure::missingKey, .pieces = 1}, "copied",
            noKeys);
    }
    void aTextIsPastedTypedOrCopiedAndTheUserTold() {
        const auto [the, way, message] = fetch<Case, QString, std::optional<QString>>();
        const QString text = dictated.repeated(5); // in three pieces
        m->accessibility.setTrusted(the.trusted);
        m->accessibility.setFocused(the.role.isEmpty() ? nullptr : m->accessibility.add(the.role));
        m->keys.available = the.keys;
        m->keys.chordFailure = the.chord;
        m->keys.chunksThatWork = the.pieces;
        m->insert(text, the.mode);
        m->scheduler.advance(1);
        QCOMPARE(m->outcome, message);
        QCOMPARE(m->pasted, way == "pasted" ? QStringList{text} : QStringList());
        QCOMPARE(m->keys.typed(), text.left(16 * the.pieces));
        if (way == "copied") QCOMPARE(m->pasteboard.text(), text);
        if (way != "copied") QCOMPARE(m->pasteboard.items(), QList<PasteboardItem>{users});
    }

    void eachProgramIsPastedIntoItsOwnWay_data() {
        const Rows<QStringList, QString, QList<KeyChord>> row; // without a chord it is typed
        const KeyChord controlV{9, 0x40000};
        const KeyChord controlShiftV{9, 0x60000};
        const KeyChord shiftInsert{114, 0x20000};
        row("most", {"mousepad"}, "", {controlV});
        row("none known", {}, "", {controlV});
        row("a terminal by its class", {"konsole"}, "", {controlShiftV});
        row("a terminal by its role", {"unheard-of"}, "AXTerminal", {controlShiftV});
        row("Emacs", {"emacs", "emacs"}, "", {shiftInsert});
        row("an old terminal, whatever its role", {"xterm"}, "AXTerminal", {});
        row("the user's own row comes first", {"x", "mine"}, "", {shiftInsert});
        row("the user's own for a known one", {"kitty"}, "", {});
        row("a row of the user's that makes no sense", {"gvim"}, "", {});
    }
    void eachProgramIsPastedIntoItsOwnWay() {
        const auto [program, subrole, chords] = fetch<QStringList, QString, QList<KeyChord>>();
        m->settings.set(
            SettingKey::pasteWays,
            QJsonObject{{"Mine", "Shift+Insert"}, {"kitty", "type"}, {"gvim", "ctrl+9"}});
        m->applications.program = program;
        m->accessibility.setFocused(m->accessibility.add("AXTextArea/" + subrole));
        m->insert(dictated);
        m->scheduler.advance(1);
        QCOMPARE(m->keys.chords, chords);
        QCOMPARE(m->keys.typed(), chords.isEmpty() ? dictated : QString());
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

    void whatIsCopiedMeanwhileIsNotLost() {
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

        m->insert(dictated);
        m->scheduler.advance(0.2);
        m->pasteboard.foreignCopy(others); // after the paste: it stays
        m->scheduler.advance(1);
        QCOMPARE(m->pasteboard.items(), QList<PasteboardItem>{others});
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
    }

    void whatItsOwnerHandedOverComesBackWithoutAWait_data() {
        // What is withheld; whether its owner hangs at the trigger, at the paste; what comes back.
        const Rows<QStringList, bool, bool, PasteboardItem> row;
        const QStringList picture{"image/png"};
        const PasteboardItem text{users.first()};
        row("a busy one, asked again", {}, true, false, users);
        row("one that hangs later", {}, false, true, users);
        row("one that hangs", {}, true, true, {});
        row("one that lacks a format", picture, false, false, text);
        row("one that lacks it, and hangs later", picture, false, true, text);
    }
    void whatItsOwnerHandedOverComesBackWithoutAWait() {
        const auto [withheld, hungAtTrigger, hungAtPaste, back] =
            fetch<QStringList, bool, bool, PasteboardItem>();
        const TestLog log(m->scheduler);
        m->pasteboard.foreignWithhold(withheld);
        m->pasteboard.foreignHang(hungAtTrigger);
        const auto prepared = m->inserter->prepare();
        m->scheduler.advance(1);
        m->pasteboard.foreignHang(hungAtPaste);
        m->insert(dictated);
        QCOMPARE(m->pasted, QStringList{dictated});
        m->scheduler.advance(0.5);
        QCOMPARE(m->pasteboard.items().value(0), back);
        const auto lost = users.size() - back.size();
        const QString line = "insert: %1 formats of the clipboard could not be kept";
        QCOMPARE(log.lines("insert:").join('|'), lost > 0 ? line.arg(lost) : QString());
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
        const Rows<QString, QList<qsizetype>> row;
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
        const auto [text, sizes] = fetch<QString, QList<qsizetype>>();
        m->insert(text, InsertMode::type);
        for (qsizetype chunks = 1; chunks <= sizes.size(); ++chunks) {
            m->scheduler.advance(0.0039); // one follows the other after 4 ms
            QCOMPARE(m->keys.chunks.size(), chunks);
            QCOMPARE(m->keys.chunks.last().size(), sizes[chunks - 1]);
            QCOMPARE(m->outcome, "…");
        }
        m->scheduler.advance(0.004);
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
