#include "look/Words.h"
#include "tests/harness/DictationRig.h"
#include "tests/harness/Rows.h"

using namespace murlo;

namespace {

/// What else there is after some steps of a dictation.
struct Left {
    bool kept = false;                ///< the recording
    std::optional<QString> card = {}; ///< where it tells more than the last state
    bool arrives = false;             ///< the text, though no state tells of it
    bool remembered = false;          ///< in the history, though not delivered
};

} // namespace

class DictationControllerTest : public QObject {
    Q_OBJECT

    std::unique_ptr<DictationRig> m_rig;

    void listen(double seconds) {
        m_rig->controller.begin(true);
        m_rig->scheduler.runPending();
        m_rig->speak(seconds);
    }
    void finish() {
        m_rig->controller.finish();
        m_rig->scheduler.runPending();
    }
    /// A dictation up to the moment where its clip is with the engine.
    void dictate() {
        listen(1);
        finish();
    }
    void pick(const ElementRef& box) {
        InputTarget target;
        target.element = box;
        m_rig->controller.startAfterTargetPicked(target);
        m_rig->scheduler.runPending();
    }
    void pass(double seconds) { m_rig->scheduler.advance(seconds); }
    void set(const char* key, const QJsonValue& value) { m_rig->settings.set(key, value); }

    /// Carries out steps of a dictation, separated by blanks; a number lets so many seconds pass.
    void play(const QString& steps) {
        const QHash<QString, std::function<void()>> actions{
            {"account", [this] { set(SettingKey::accountEmail, "someone@example.com"); }},
            {"enhanced", [this] { set(SettingKey::enhancePrompt, true); }},
            {"silent", [this] { set(SettingKey::playSounds, false); }},
            {"copying", [this] { set(SettingKey::insertMode, "clipboardOnly"); }},
            {"typing", [this] { set(SettingKey::insertMode, "type"); }},
            {"brief", [this] { set(SettingKey::maxRecordingSeconds, 3.0); }},
            {"loading", [this] { m_rig->server.restart(); }},
            {"modelless", [this] { m_rig->modelPath.clear(); }},
            {"ready", [this] { m_rig->engineGetsReady(); }},
            {"ask", [this] { m_rig->microphone.current = MicrophoneStatus::notDetermined; }},
            {"grant", [this] { m_rig->microphone.answer(true); }},
            {"refuse", [this] { m_rig->microphone.answer(false); }},
            {"unplug", [this] { m_rig->audio.unplug(); }},
            {"sleep", [this] { m_rig->systemEvents.sleep(); }},
            {"begin", [this] { m_rig->controller.begin(true); }},
            {"again", [this] { m_rig->controller.begin(false); }},
            {"listen", [this] { listen(1); }},
            {"dictate", [this] { dictate(); }},
            {"finish", [this] { m_rig->controller.finish(); }},
            {"cancel", [this] { m_rig->controller.cancel(); }},
            {"unfocus", [this] { m_rig->accessibility.setFocused(nullptr); }},
            {"slow", [this] { m_rig->accessibility.node(m_rig->box).focusTakes = 5; }},
            {"text", [this] { m_rig->engineAnswersOnly("words"); }},
            {"nothing", [this] { m_rig->engineAnswersOnly(" [BLANK_AUDIO]\n"); }},
            {"broken", [this] { m_rig->http.fail("It is broken."); }},
            {"dies", [this] { m_rig->processes.exit(11); }},
            {"error", [this] { m_rig->engineRefuses(500, "its own words"); }},
        };
        for (const QString& step : steps.split(' ')) {
            bool isNumber = false;
            const double seconds = step.toDouble(&isNumber);
            isNumber ? pass(seconds) : actions[step]();
        }
    }

private Q_SLOTS:
    void init() {
        m_rig.reset(); // closes its log before the next one opens
        m_rig = std::make_unique<DictationRig>();
        m_rig->engineGetsReady();
        (void)m_rig->takeStates();
    }

    void wordsGoFromTheTriggerIntoTheBoxAndNotIntoTheLog() {
        listen(2);
        QVERIFY(qAbs(m_rig->overlay.model().elapsed() - 2) < 0.11);
        QVERIFY(m_rig->overlay.model().bars().last() > 0);
        m_rig->controller.finish();
        pass(0.5);
        m_rig->engineAnswers(" Hello [BLANK_AUDIO] world. ");
        QCOMPARE(m_rig->takeStates().last(), "delivered: Hello world.");
        QCOMPARE(m_rig->pasted, QStringList{"Hello world."});
        QCOMPARE(m_rig->overlay.model().words().last().id, "1|world.");
        pass(1.3);
        QCOMPARE(m_rig->takeStates(), QStringList{"idle"});
        pass(10);
        QVERIFY(m_rig->logged("dictation: 12 chars in 0.50s"));
        QCOMPARE(m_rig->log.lines().filter("world"), QStringList());
        QCOMPARE(m_rig->scheduler.pendingTimers(), 0);
    }

    void eachMomentHasItsOutcome_data() {
        const Rows<QString, QString, QString, Left> row; // all states, sounds, a line of the log
        const QString sent = "listening > transcribing";
        const QString over = sent + " > delivered: words";
        const QString next = sent + " > listening";
        const QString error = "Speech engine error 500: its own words";
        const QString reported = "errors: transcribe_failed: server error 500";
        const QString copied = "Copied to clipboard. Copy-only mode is on.";
        const QString dropped = "dictation: discarded result arrived, dropped";
        const QString movedOn = "dictation: enhanced text dropped, session moved on";

        row("account dictate text", over, "Tink Pop");
        row("silent copying dictate text", over, "", "", {.card = copied});
        row("account enhanced dictate text", sent + " > enhancing > delivered: words", "Tink Pop");
        row("dictate nothing", sent + " > idle", "Tink Pop", "dictation: empty transcript");
        row("dictate error", sent + " > failed: " + error, "Tink Pop Basso", reported,
            {.kept = true});

        // How a recording begins …
        row("begin again", "listening", "Tink", "dictation: listening");
        row("ask begin", "", "");
        row("ask begin grant", "listening", "Tink");
        row("ask begin refuse", "failed: " + Words::english(Word::microphoneOff), "Basso");
        row("unplug 1 begin 4.4",
            "listening > failed: " + Words::english(Word::noInputDevice) + " > idle", "Basso");
        const QString noModel = Words::english(Word::noModel);
        row("modelless loading 0 begin", "failed: " + noModel, "Basso", "engine: " + noModel);
        // … and ends: too short, or let go before a cold microphone opens, without hurting the next
        const QString nothing = "dictation: nothing captured";
        row("begin 1 finish 1 listen", "listening > idle > listening", "Tink Tink", nothing);
        row("begin finish 1 listen", "listening > idle > listening", "Tink", nothing);
        row("brief listen 2.2 text", over, "Tink Pop", "dictation: hit max length, wrapping up");
        row("listen sleep text", over, "Tink Pop", "dictation: system sleeping, wrapping up");
        row("listen unplug 0 text", over, "Tink Pop",
            "errors: audio_lost: input device disappeared mid-recording");

        // An engine that is loading is waited for, half a minute long.
        row("loading 0 dictate 29 ready text", over, "Tink Pop");
        row("loading 0 dictate 30.2", sent + " > failed: " + Words::english(Word::engineTooSlow),
            "Tink Pop Basso", "", {.kept = true});

        // What was given up never arrives, but keys on their way are not taken back.
        row("listen cancel", "listening > idle", "Tink Bottle", "dictation: cancelled");
        row("dictate cancel begin text", sent + " > idle > listening", "Tink Pop Bottle Tink",
            dropped);
        // An engine that dies with a clip: its successor gets it, once.
        const QString broken = sent + " > failed: It is broken.";
        row("dictate broken 0.2 dies 2 ready text", over, "Tink Pop",
            "dictation: the engine ended with a clip, which is sent again");
        row("dictate dies broken 1 ready text", over, "Tink Pop");
        row("dictate broken dies 2 ready broken", broken, "Tink Pop Basso", "", {.kept = true});
        row("dictate broken 1.2", broken, "Tink Pop Basso", "", {.kept = true});
        row("dictate broken dies cancel 2 ready", sent + " > idle", "Tink Pop Bottle", dropped);
        row("loading 0 dictate cancel ready text", sent + " > idle", "Tink Pop Bottle", dropped);
        row("account dictate unfocus text cancel", sent + " > idle", "Tink Pop Bottle", dropped);
        row("account enhanced dictate text cancel", sent + " > enhancing > idle", "Tink Pop Bottle",
            movedOn);
        row("account enhanced dictate text begin", sent + " > enhancing > listening",
            "Tink Pop Tink", movedOn, {.remembered = true});
        row("typing dictate text cancel 1", over, "Tink Pop");

        // An earlier dictation leaves the next one alone; its result is told when the card is free.
        row("account enhanced dictate listen text", next, "Tink Pop Tink", "", {.arrives = true});
        row("dictate listen error cancel", next + " > idle", "Tink Pop Tink Bottle", reported,
            {.kept = true, .card = error});
        row("copying dictate listen text cancel", next + " > idle", "Tink Pop Tink Bottle", "",
            {.card = copied, .arrives = true});
        row("dictate dictate error text 2", next + " > transcribing > delivered: words > idle",
            "Tink Pop Tink Pop", "", {.kept = true, .card = error});
        row("dictate listen cancel 0.5 text", next + " > idle > delivered: words",
            "Tink Pop Tink Bottle");
        row("copying dictate begin finish 0.5 text", next + " > idle > delivered: words",
            "Tink Pop", "", {.card = copied});
    }
    void eachMomentHasItsOutcome() {
        const auto [states, sounds, line, left] = fetch<QString, QString, QString, Left>();
        const QString steps = QTest::currentDataTag();
        play(steps);
        init(); // the end of the program harms nobody, whatever is under way
        play(steps);
        m_rig->scheduler.runPending();
        QCOMPARE(m_rig->takeStates().join(" > "), states);
        const QString last = states.section(" > ", -1);
        QCOMPARE(m_rig->controller.isRecording(), last == "listening");
        QCOMPARE(m_rig->controller.startedByHotkey(), last == "listening");
        QCOMPARE(m_rig->card(), left.card.value_or(last.section(": ", 1)));
        QCOMPARE(m_rig->soundPlayer.played.join(' '), sounds);

        pass(3);
        const bool copied = steps.contains("copying");
        const QString text = states.contains("delivered") || left.arrives ? "words" : "";
        QCOMPARE(m_rig->pasted.join('|') + m_rig->keys.typed(), copied ? "" : text);
        QCOMPARE(m_rig->pasteboard.text(), copied ? text : "the user's");
        QCOMPARE(m_rig->history.recent().join('|'), left.remembered ? "words" : text);
        QVERIFY2(line.isEmpty() || m_rig->logged(line), qPrintable(m_rig->log.lines().join('\n')));
        QCOMPARE(contentOf(m_rig->paths.file("untranscribed.wav")).startsWith("RIFF"), left.kept);
    }

    void aRewrittenTextRunsNoCommand() {
        m_rig->client.apiKey = [] { return KeyAnswer{KeyAnswer::present, "key"}; };
        for (const bool terminal : {true, false}) {
            m_rig->applications.program = {terminal ? "konsole" : "mousepad"};
            play("account enhanced dictate text 0");
            m_rig->network.answer(200, "{\"text\":\"two\\nlines\\n\\n\"}", "/polish");
            pass(3);
            QCOMPARE(m_rig->pasted.takeLast(), terminal ? "two\nlines" : "two\nlines\n\n");
            QCOMPARE(m_rig->history.recent().first(), "two\nlines"); // which trims
        }
    }

    void whatIsUnfinishedAtTheEndIsKept() {
        // One text on its way to its box, one clip with the engine, one recording.
        play("slow dictate dictate unfocus text listen");
        QVERIFY(m_rig->history.recent().isEmpty());
        const int opened = m_rig->audio.enginesMade();
        m_rig->controller.keepUnfinished();
        m_rig->scheduler.runPending();
        QCOMPARE(m_rig->history.recent(), QStringList{"words"});
        for (const char* name : {"untranscribed.wav", "untranscribed-2.wav"})
            QVERIFY2(contentOf(m_rig->paths.file(name)).startsWith("RIFF"), name);
        QCOMPARE(m_rig->audio.enginesMade(), opened); // no microphone is opened at the end

        init();
        play("dictate unfocus text cancel");
        m_rig->controller.keepUnfinished();
        QVERIFY(m_rig->history.recent().isEmpty());
    }

    void previewsFeedTheLiveWordsOneAtATime() {
        const OverlayModel& card = m_rig->overlay.model();
        listen(4); // three ticks, the first of which is not answered
        QCOMPARE(m_rig->clipsAtEngine(), 1);
        m_rig->engineAnswers("hello world");
        QCOMPARE(card.words().size(), 2);
        m_rig->speak(1.2);
        QCOMPARE(m_rig->clipsAtEngine(), 1);
        m_rig->engineAnswers("");
        QCOMPARE(card.words().size(), 2);
        m_rig->speak(1.2);
        finish(); // the preview in flight is given up for the whole clip
        QCOMPARE(m_rig->clipsAtEngine(), 1);
        m_rig->engineAnswers("hello world again");
        QCOMPARE(m_rig->pasted, QStringList{"hello world again"});

        // Another recording begins with an empty card, whatever is still at the engine.
        listen(1.2);
        m_rig->engineAnswers("one");
        QCOMPARE(card.words().size(), 1);
        m_rig->speak(1.2);
        m_rig->controller.cancel(); // with a preview in flight
        listen(0);
        QCOMPARE(m_rig->clipsAtEngine(), 0);
        QVERIFY(card.words().isEmpty());
        m_rig->speak(1.2);
        m_rig->engineAnswers("two");
        QCOMPARE(card.words().last().id, "0|two");
    }

    void anEarlierDictationReachesItsOwnBoxWhileTheNextIsSpoken() {
        dictate();
        const ElementRef second = m_rig->accessibility.add("AXTextArea");
        m_rig->accessibility.setFocused(second);
        listen(0.7);
        m_rig->engineAnswers("first");
        pass(0.3);
        QCOMPARE(m_rig->overlay.model().state().state, DictationState::listening);
        finish();
        m_rig->engineAnswers("second");
        pass(1);
        QCOMPARE(m_rig->pasted, (QStringList{"first", "second"}));
        QCOMPARE(m_rig->boxAtPaste, (QList<ElementRef>{m_rig->box, second}));
        QCOMPARE(m_rig->history.recent(), (QStringList{"second", "first"}));
    }

    void aDictationGivenUpWhileItWaitsForItsTurnTakesNoFocus() {
        const ElementRef elsewhere = m_rig->accessibility.add("AXTextField");
        dictate();
        m_rig->accessibility.setFocused(elsewhere);
        m_rig->accessibility.node(m_rig->box).hung = true; // its turn lasts
        m_rig->engineAnswers("first");
        pick(m_rig->accessibility.add("AXTextField"));
        m_rig->speak(0.2);
        finish();
        m_rig->engineAnswers("second");
        m_rig->controller.cancel();
        pass(5);
        QCOMPARE(m_rig->pasted, QStringList{"first"});
        QCOMPARE(m_rig->accessibility.focusedElement(), elsewhere);
    }

    void aBoxThatLostTheFocusGetsItBack_data() {
        const Rows<double> due;
        due("focused", 0);
        due("elsewhere", 0.18);
        due("hung", 0.4);
        due("gone", 0);
        due("slow", 2.5);
    }
    void aBoxThatLostTheFocusGetsItBack() {
        const auto [due] = fetch<double>();
        const QByteArray box = QTest::currentDataTag();
        dictate();
        if (box != "focused") m_rig->accessibility.setFocused(nullptr);
        m_rig->accessibility.node(m_rig->box).hung = box == "hung";
        m_rig->accessibility.node(m_rig->box).gone = box == "gone";
        m_rig->accessibility.node(m_rig->box).focusTakes = box == "slow" ? 5 : 0;
        m_rig->engineAnswersOnly("words");
        pass(due * 0.95);
        QCOMPARE(m_rig->pasted.isEmpty(), due > 0);
        pass(due * 0.1);
        QCOMPARE(m_rig->pasted, QStringList{"words"});
        if (box == "elsewhere") QCOMPARE(m_rig->boxAtPaste.first(), m_rig->box);
        pass(3);
        QCOMPARE(m_rig->pasted.size(), 1);
    }

    void aPickedBoxIsPinnedAndAFocusThatWasToldWrongPutRight() {
        for (const bool picked : {true, false}) {
            init();
            const ElementRef truth = m_rig->accessibility.add("AXTextField");
            const ElementRef lettered = m_rig->accessibility.add("AXTextField");
            m_rig->accessibility.setFoundLater(truth);
            picked ? pick(lettered) : m_rig->controller.begin(true);
            pick(m_rig->box); // too late: one is under way
            m_rig->speak(1);
            QCOMPARE(m_rig->controller.startedByHotkey(), !picked);
            m_rig->accessibility.setFocused(m_rig->box); // the user goes elsewhere
            finish();
            m_rig->engineAnswers("words");
            pass(1);
            QCOMPARE(m_rig->boxAtPaste, QList<ElementRef>{picked ? lettered : truth});
        }
    }
};

QTEST_GUILESS_MAIN(DictationControllerTest)
#include "DictationControllerTest.moc"
