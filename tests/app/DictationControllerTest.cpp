#include "look/Words.h"
#include "tests/harness/DictationRig.h"

#include <QTest>

using namespace murlo;

class DictationControllerTest : public QObject {
    Q_OBJECT

    std::unique_ptr<DictationRig> m_rig;

    void listen(double seconds = 0) {
        m_rig->controller.begin(true);
        m_rig->scheduler.runPending();
        m_rig->speak(seconds);
    }
    /// A dictation up to the moment where its clip is with the engine.
    void dictate() {
        listen(1);
        m_rig->controller.finish();
        m_rig->scheduler.runPending();
    }
    void restartEngine() {
        m_rig->server.restart();
        m_rig->scheduler.runPending();
    }
    void pass(double seconds) { m_rig->scheduler.advance(seconds); }
    [[nodiscard]] QString lastState() { return m_rig->takeStates().last(); }
    [[nodiscard]] QString boxText() const { return m_rig->pasted.join(QLatin1Char('|')); }

    /// Carries out steps of a dictation, separated by blanks.
    void play(const QString& steps) {
        const QHash<QString, std::function<void()>> actions{
            {"account",
             [this] {
                 m_rig->settings.set(SettingKey::accountEmail, QString("someone@example.com"));
             }},
            {"enhanced",
             [this] {
                 m_rig->settings.set(SettingKey::enhancePrompt, true);
                 m_rig->settings.set(SettingKey::accountEmail, QString("someone@example.com"));
             }},
            {"loading", [this] { restartEngine(); }},
            {"ready", [this] { m_rig->engineGetsReady(); }},
            {"begin", [this] { m_rig->controller.begin(true); }},
            {"listen", [this] { listen(1); }},
            {"dictate", [this] { dictate(); }},
            {"unfocus", [this] { m_rig->accessibility.setFocused(nullptr); }},
            {"text", [this] { m_rig->engineAnswersOnly("unwanted"); }},
            {"consequences", [this] { m_rig->scheduler.runPending(); }},
            {"cancel", [this] { m_rig->controller.cancel(); }},
            {"finish", [this] { m_rig->controller.finish(); }},
        };
        for (const QString& step : steps.split(QLatin1Char(' '))) actions[step]();
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
        QVERIFY(m_rig->controller.startedByHotkey());
        QVERIFY(m_rig->controller.isRecording());
        QVERIFY(qAbs(m_rig->overlay.model().elapsed() - 2) < 0.11);
        QVERIFY(m_rig->overlay.model().bars().last() > 0);
        m_rig->controller.finish();
        pass(0.5);
        m_rig->engineAnswers(" Hello [BLANK_AUDIO] world. ");
        QCOMPARE(m_rig->takeStates(),
                 (QStringList{"listening", "transcribing", "delivered: Hello world."}));
        QCOMPARE(boxText(), "Hello world.");
        QCOMPARE(m_rig->history.entries().first().text, "Hello world.");
        QCOMPARE(m_rig->history.recent(), QStringList{"Hello world."});
        QCOMPARE(m_rig->overlay.model().words().last().id, "1|world.");
        QCOMPARE(m_rig->soundPlayer.played, (QStringList{"Tink", "Pop"}));
        QVERIFY(m_rig->logged("dictation: listening"));
        QVERIFY(m_rig->logged("dictation: 12 chars in 0.50s"));
        pass(1.3);
        QCOMPARE(m_rig->takeStates(), QStringList{"idle"});
        pass(10);
        QCOMPARE(m_rig->log.lines().filter("world"), QStringList());
        QCOMPARE(m_rig->scheduler.pendingTimers(), 0);
    }

    void aSecondBeginWhileListeningDoesNothing() {
        m_rig->controller.begin(true);
        m_rig->controller.begin(false);
        m_rig->scheduler.runPending();
        m_rig->controller.begin(false);
        m_rig->scheduler.runPending();
        QCOMPARE(m_rig->takeStates(), QStringList{"listening"});
        QVERIFY(m_rig->controller.startedByHotkey());
    }

    void settingsCanSilenceItAndHaveItCopyOnly() {
        m_rig->settings.set(SettingKey::playSounds, false);
        m_rig->settings.set(SettingKey::insertMode, QString("clipboardOnly"));
        dictate();
        m_rig->engineAnswers("to copy");
        QCOMPARE(lastState(), "delivered: to copy");
        QCOMPARE(m_rig->card(), "Copied to clipboard. Copy-only mode is on.");
        QCOMPARE(m_rig->pasteboard.text(), "to copy");
        QVERIFY(m_rig->soundPlayer.played.isEmpty());
    }

    void whatEndsTheRecordingSendsIt_data() {
        QTest::addColumn<QString>("line");
        QTest::newRow("length") << "dictation: hit max length, wrapping up";
        QTest::newRow("sleep") << "dictation: system sleeping, wrapping up";
        QTest::newRow("unplug") << "errors: audio_lost: input device disappeared mid-recording";
    }
    void whatEndsTheRecordingSendsIt() {
        QFETCH(QString, line);
        const QByteArray event = QTest::currentDataTag();
        m_rig->settings.set(SettingKey::maxRecordingSeconds, 3.0);
        listen(2);
        if (event == "length") m_rig->speak(1.1);
        if (event == "sleep") m_rig->systemEvents.sleep();
        if (event == "unplug") m_rig->audio.unplug();
        m_rig->scheduler.runPending();
        QVERIFY(m_rig->logged(line));
        QCOMPARE(lastState(), "transcribing");
        m_rig->engineAnswers("so far");
        QCOMPARE(boxText(), "so far");
    }

    void aRecordingOfNothingEndsInNothing() {
        for (const bool opened :
             {true, false}) { // too short; let go before a cold microphone opens
            init();
            m_rig->controller.begin(true);
            if (opened) m_rig->scheduler.runPending();
            if (opened) m_rig->speak(0.1);
            m_rig->controller.finish();
            QCOMPARE(m_rig->takeStates(), (QStringList{"listening", "idle"}));
            pass(1);
            QVERIFY(!m_rig->controller.isRecording());
            QVERIFY(m_rig->logged("dictation: nothing captured"));
            QCOMPARE(m_rig->logged("dictation: listening"), opened);
            QCOMPARE(m_rig->clipsAtEngine(), 0);
            listen(); // and the next one is not hurt by a late start
            QVERIFY(m_rig->controller.isRecording());
        }
    }

    void aMicrophoneThatCannotStartFails() {
        m_rig->audio.unplug();
        pass(1);
        m_rig->controller.begin(true);
        pass(0.1);
        QCOMPARE(lastState(),
                 "failed: No microphone found. Check System Settings → Sound → Input.");
        QCOMPARE(m_rig->soundPlayer.played, QStringList{"Basso"});
        pass(4.3);
        QCOMPARE(m_rig->takeStates(), QStringList{"idle"});
    }

    void aMicrophoneThatMustBeAskedForStartsOnceGranted() {
        for (const bool granted : {false, true}) {
            m_rig->microphone.current = MicrophoneStatus::notDetermined;
            m_rig->controller.begin(true);
            QVERIFY(m_rig->takeStates().isEmpty());
            m_rig->microphone.answer(granted);
            m_rig->scheduler.runPending();
            QCOMPARE(m_rig->takeStates(),
                     QStringList{granted ? QString("listening")
                                         : "failed: " + Words::english(Word::microphoneOff)});
            QCOMPARE(m_rig->controller.startedByHotkey(), granted);
        }
    }

    void whatTheEngineSaysDecides_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("state");
        QTest::newRow("nothing") << 200 << QByteArray(R"({"text": " [BLANK_AUDIO]\n"})") << "idle";
        QTest::newRow("an error") << 500 << QByteArray("secret text")
                                  << "failed: Speech engine error 500: secret text";
    }
    void whatTheEngineSaysDecides() {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        dictate();
        m_rig->engineRefuses(status, body);
        QTEST(lastState(), "state");
        m_rig->scheduler.runPending();
        const bool failed = status != 200;
        QCOMPARE(m_rig->logged("errors: transcribe_failed: server error 500"), failed);
        QVERIFY(m_rig->history.entries().isEmpty());
        // What could not be transcribed is not lost.
        QFile kept(m_rig->paths.file("untranscribed.wav"));
        QCOMPARE(kept.exists(), failed);
        if (kept.open(QIODevice::ReadOnly)) QVERIFY(kept.readAll().startsWith("RIFF"));
    }

    void whatIsUnfinishedAtTheEndIsKept() {
        dictate(); // the engine has not answered
        listen(1);
        const int opened = m_rig->audio.enginesMade();
        m_rig->controller.keepUnfinished();
        m_rig->scheduler.runPending();
        QCOMPARE(m_rig->audio.enginesMade(), opened); // no microphone is opened at the end
        for (const char* name : {"untranscribed.wav", "untranscribed-2.wav"}) {
            QFile kept(m_rig->paths.file(QLatin1String(name)));
            QVERIFY2(kept.open(QIODevice::ReadOnly), name);
            QVERIFY(kept.readAll().startsWith("RIFF"));
        }
    }

    void aTextOnItsWayToItsBoxAtTheEndIsInTheHistory() {
        dictate();
        m_rig->accessibility.setFocused(m_rig->accessibility.add("AXTextField"));
        m_rig->engineAnswers("kept words"); // its box has to be brought back into focus first
        QVERIFY(m_rig->history.entries().isEmpty());
        m_rig->controller.keepUnfinished();
        QCOMPARE(m_rig->history.entries().first().text, "kept words");
    }

    void anEngineThatIsStillLoadingIsWaitedForHalfAMinute() {
        for (const bool inTime : {true, false}) {
            restartEngine();
            dictate();
            pass(inTime ? 20 : 29.8);
            QCOMPARE(lastState(), "transcribing");
            QCOMPARE(m_rig->clipsAtEngine(), 0);
            if (inTime) {
                m_rig->engineGetsReady();
                m_rig->engineAnswers("late but there");
                QCOMPARE(boxText(), "late but there");
                pass(2);
            }
        }
        pass(0.4);
        QCOMPARE(lastState(), "failed: " + Words::english(Word::engineTooSlow));
    }

    void anEngineThatHasFailedRefusesAtOnce() {
        const QString noModel = "No speech model installed yet. Relaunch Murlo to download it.";
        m_rig->modelPath.clear();
        restartEngine();
        (void)m_rig->takeStates();
        m_rig->controller.begin(true);
        QCOMPARE(m_rig->takeStates(), QStringList{"failed: " + noModel});
        QVERIFY(m_rig->logged("engine: " + noModel));
        QVERIFY(!m_rig->controller.isRecording());
    }

    void previewsFeedTheLiveWordsOneAtATime() {
        listen(4); // three ticks, the first of which is not answered
        QCOMPARE(m_rig->clipsAtEngine(), 1);
        m_rig->engineAnswers("hello world");
        QCOMPARE(m_rig->overlay.model().words().size(), 2);
        m_rig->speak(1.2);
        QCOMPARE(m_rig->clipsAtEngine(), 1);
        m_rig->engineAnswers("");
        QCOMPARE(m_rig->overlay.model().words().size(), 2);
        m_rig->speak(1.2);
        m_rig->controller.finish(); // the preview in flight is given up for the whole clip
        m_rig->scheduler.runPending();
        QCOMPARE(m_rig->clipsAtEngine(), 1);
        m_rig->engineAnswers("hello world again");
        QCOMPARE(boxText(), "hello world again");
    }

    void aPreviewOfAnEarlierRecordingNeverShows() {
        listen(1.3);
        QCOMPARE(m_rig->clipsAtEngine(), 1);
        m_rig->controller.cancel();
        listen();
        QCOMPARE(m_rig->clipsAtEngine(), 0);
        QVERIFY(m_rig->overlay.model().words().isEmpty());
    }

    void whatWasGivenUpNeverArrives_data() {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("line");
        const auto row = [](const char* name, const char* steps, const char* state,
                            const char* line) {
            QTest::newRow(name) << QString(steps) << QString(state) << QString(line);
        };
        const char* dropped = "dictation: discarded result arrived, dropped";
        const char* movedOn = "dictation: enhanced text dropped, session moved on";
        row("listening", "listen cancel", "idle", "dictation: cancelled");
        row("transcribing", "dictate cancel text consequences", "idle", dropped);
        row("transcribing, and the next one has begun", "dictate cancel begin text consequences",
            "listening", dropped);
        row("waiting for the engine", "loading dictate cancel ready text consequences", "idle",
            dropped);
        row("refocusing the box", "account dictate unfocus text cancel", "idle", dropped);
        row("enhancing", "enhanced dictate text cancel", "idle", movedOn);
        row("enhancing, and the next one begins", "enhanced dictate text begin", "listening",
            movedOn);
    }
    void whatWasGivenUpNeverArrives() {
        QFETCH(QString, steps);
        QFETCH(QString, line);
        play(steps);
        QTEST(lastState(), "state");
        QCOMPARE(m_rig->controller.isRecording(), steps.contains("begin text"));
        pass(3);
        QVERIFY2(m_rig->logged(line), qPrintable(m_rig->log.lines().join('\n')));
        QVERIFY(m_rig->pasted.isEmpty());
        QVERIFY(m_rig->history.entries().isEmpty());
        QCOMPARE(m_rig->soundPlayer.played.count("Bottle"), steps.contains("cancel") ? 1 : 0);
    }

    void keysThatAreOnTheirWayAreNotTakenBack() {
        m_rig->settings.set(SettingKey::insertMode, QString("type"));
        dictate();
        m_rig->engineAnswersOnly(QString(99, 'x'));
        m_rig->controller.cancel();
        pass(1);
        QVERIFY(m_rig->takeStates().contains("delivered: " + QString(99, 'x')));
        QVERIFY(!m_rig->soundPlayer.played.contains("Bottle"));
    }

    void anEarlierDictationReachesItsOwnBoxWhileTheNextIsSpoken() {
        dictate();
        const ElementRef second = m_rig->accessibility.add("AXTextArea");
        m_rig->accessibility.setFocused(second);
        listen(0.7);
        (void)m_rig->takeStates();
        m_rig->engineAnswers("first");
        pass(0.3);
        QCOMPARE(m_rig->boxAtPaste, QList<ElementRef>{m_rig->box});
        QCOMPARE(boxText(), "first");
        QVERIFY(m_rig->takeStates().isEmpty()); // the newer one's state and card are untouched
        QVERIFY(m_rig->controller.isRecording());
        QCOMPARE(m_rig->overlay.model().state().state, DictationState::listening);
        m_rig->controller.finish();
        pass(0.5);
        m_rig->engineAnswers("second");
        pass(0.3);
        QCOMPARE(boxText(), "first|second");
        QVERIFY(m_rig->boxAtPaste.last()->isSame(*second));
        QCOMPARE(m_rig->history.recent(), (QStringList{"second", "first"}));
    }

    void anEarlierFailureLeavesTheNextAloneAndIsToldAfterIt() {
        dictate();
        listen();
        (void)m_rig->takeStates();
        m_rig->engineRefuses(500, "\xff");
        QVERIFY(m_rig->takeStates().isEmpty());
        QVERIFY(m_rig->controller.isRecording());
        m_rig->scheduler.runPending();
        QVERIFY(m_rig->logged("dictation: Speech engine error 500"));
        m_rig->controller.cancel();
        QCOMPARE(m_rig->card(), "Speech engine error 500");
    }

    void anEarlierResultHasTheCardOnceTheNewerDictationIsOver_data() {
        QTest::addColumn<QString>("newer");
        QTest::addColumn<bool>("copied");
        QTest::newRow("cancelled, delivered") << "listen cancel" << false;
        QTest::newRow("cancelled, copied") << "listen cancel" << true;
        QTest::newRow("nothing captured, copied") << "begin finish" << true;
    }
    void anEarlierResultHasTheCardOnceTheNewerDictationIsOver() {
        QFETCH(QString, newer);
        QFETCH(bool, copied);
        if (copied) m_rig->settings.set(SettingKey::insertMode, QString("clipboardOnly"));
        dictate();
        play(newer);
        pass(0.5);
        (void)m_rig->takeStates();
        m_rig->engineAnswers("words");
        QCOMPARE(lastState(), "delivered: words");
        QCOMPARE(m_rig->card(), copied ? "Copied to clipboard. Copy-only mode is on." : "words");
    }

    void aDictationGivenUpWhileItWaitsForItsTurnTakesNoFocus() {
        const ElementRef elsewhere = m_rig->accessibility.add("AXTextField");
        dictate();
        m_rig->accessibility.setFocused(elsewhere);
        m_rig->accessibility.node(m_rig->box).hung = true; // its turn lasts
        m_rig->engineAnswers("first");
        InputTarget target;
        target.element = m_rig->accessibility.add("AXTextField");
        m_rig->controller.startAfterTargetPicked(target);
        m_rig->scheduler.runPending();
        m_rig->speak(0.2);
        m_rig->controller.finish();
        m_rig->scheduler.runPending();
        m_rig->engineAnswers("second");
        m_rig->controller.cancel();
        pass(5);
        QCOMPARE(boxText(), "first");
        QCOMPARE(m_rig->accessibility.focusedElement(), elsewhere);
    }

    void aBoxThatLostTheFocusGetsItBack_data() {
        QTest::addColumn<double>("notBefore");
        QTest::addColumn<double>("notAfter");
        QTest::newRow("focused") << 0.0 << 0.0;
        QTest::newRow("elsewhere") << 0.17 << 0.19;
        QTest::newRow("hung") << 0.0 << 2.5;
        QTest::newRow("gone") << 0.0 << 0.41;
        QTest::newRow("slow") << 2.4 << 2.6;
    }
    void aBoxThatLostTheFocusGetsItBack() {
        QFETCH(double, notBefore);
        QFETCH(double, notAfter);
        const QByteArray box = QTest::currentDataTag();
        dictate();
        if (box != "focused") m_rig->accessibility.setFocused(nullptr);
        m_rig->accessibility.node(m_rig->box).hung = box == "hung";
        m_rig->accessibility.node(m_rig->box).gone = box == "gone";
        m_rig->accessibility.node(m_rig->box).focusTakes = box == "slow" ? 5 : 0;
        m_rig->engineAnswersOnly("words");
        pass(notBefore);
        if (notBefore > 0) QVERIFY(m_rig->pasted.isEmpty());
        pass(notAfter - notBefore);
        QCOMPARE(boxText(), "words");
        pass(3);
        QCOMPARE(m_rig->pasted.size(), 1);
        if (box == "elsewhere") QVERIFY(m_rig->boxAtPaste.first()->isSame(*m_rig->box));
    }

    void aFocusThatWasToldWrongIsPutRightWhileTheUserSpeaks() {
        const ElementRef truth = m_rig->accessibility.add("AXTextField");
        m_rig->accessibility.setFoundLater(truth);
        listen(1);
        m_rig->accessibility.setFocused(m_rig->box); // the user goes elsewhere
        m_rig->controller.finish();
        m_rig->scheduler.runPending();
        m_rig->engineAnswers("words");
        pass(1);
        QVERIFY(m_rig->boxAtPaste.first()->isSame(*truth));
    }

    void aPickedBoxIsPinned() {
        InputTarget target;
        target.element = m_rig->accessibility.add("AXTextField");
        target.pid = 7;
        m_rig->controller.startAfterTargetPicked(target);
        m_rig->scheduler.runPending();
        QVERIFY(!m_rig->controller.startedByHotkey());
        m_rig->speak(1);
        m_rig->controller.finish();
        m_rig->scheduler.runPending();
        m_rig->engineAnswers("there");
        pass(1);
        QVERIFY(m_rig->boxAtPaste.first()->isSame(*target.element));
    }

    void tenTextsAreRemembered() {
        for (int i = 0; i < 12; ++i) {
            dictate();
            m_rig->engineAnswers(QString::number(i));
            pass(1);
        }
        QCOMPARE(m_rig->history.recent().size(), 10);
        QCOMPARE(m_rig->history.recent().first(), "11");
        QCOMPARE(m_rig->history.entries().size(), 12);
    }

    void anEndInTheMiddleOfAnythingIsHarmless() {
        for (const char* steps : {"begin", "listen", "dictate", "dictate unfocus text"}) {
            init();
            play(steps);
        }
    }
};

QTEST_GUILESS_MAIN(DictationControllerTest)
#include "DictationControllerTest.moc"
