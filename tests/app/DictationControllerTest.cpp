#include "dictation/DictationTexts.h"
#include "tests/support/DictationRig.h"

#include <QTest>

using namespace murlo;

class DictationControllerTest : public QObject {
    Q_OBJECT

    std::unique_ptr<DictationRig> m_rig;

    /// A dictation up to the moment where its clip is with the engine.
    void dictate(double seconds = 1) {
        m_rig->controller.begin(true);
        m_rig->scheduler.runPending();
        m_rig->speak(seconds);
        m_rig->controller.finish();
        m_rig->scheduler.runPending();
    }
    void pass(double seconds) { m_rig->scheduler.advance(seconds); }
    [[nodiscard]] QString boxText() const { return m_rig->pasted.join(QLatin1Char('|')); }

private Q_SLOTS:
    void init() {
        m_rig = std::make_unique<DictationRig>();
        m_rig->engineGetsReady();
        (void)m_rig->takeStates();
    }
    void cleanup() { m_rig.reset(); }

    void wordsGoFromTheTriggerIntoTheBox() {
        m_rig->controller.begin(true);
        QVERIFY(m_rig->controller.startedByHotkey());
        m_rig->scheduler.runPending();
        QVERIFY(m_rig->controller.isRecording());
        m_rig->speak(2);
        QVERIFY(qAbs(m_rig->overlay.model().elapsed() - 2) < 0.11);
        QVERIFY(m_rig->overlay.model().bars().last() > 0);
        m_rig->controller.finish();
        m_rig->scheduler.runPending();
        pass(0.5);
        m_rig->engineAnswers(" Hello [BLANK_AUDIO] world. ");
        QCOMPARE(m_rig->takeStates(),
                 (QStringList{"listening", "transcribing", "delivered: Hello world."}));
        QCOMPARE(boxText(), "Hello world.");
        QCOMPARE(m_rig->history.entries().first().text, "Hello world.");
        QCOMPARE(m_rig->controller.history(), QStringList{"Hello world."});
        QCOMPARE(m_rig->overlay.model().words().last().id, "1|world.");
        QCOMPARE(m_rig->soundPlayer.played, (QStringList{"Tink", "Pop"}));
        QVERIFY(m_rig->logged("dictation: listening"));
        QVERIFY(m_rig->logged("dictation: 12 chars in 0.50s"));
        pass(1.3);
        QCOMPARE(m_rig->takeStates(), QStringList{"idle"});
    }

    void dictatedTextNeverReachesTheLog() {
        dictate();
        m_rig->engineAnswers("Zanzibar");
        pass(5);
        dictate();
        m_rig->engineRefuses(500, "trouble");
        pass(5);
        for (const QString& line : m_rig->log.lines())
            QVERIFY2(!line.contains("Zanzibar"), qPrintable(line));
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

    void silenceInTheSettingsIsSilence() {
        m_rig->settings.set(SettingKey::playSounds, false);
        dictate();
        QVERIFY(m_rig->soundPlayer.played.isEmpty());
    }

    void whatEndsTheRecordingSendsIt_data() {
        QTest::addColumn<QString>("event");
        QTest::addColumn<QString>("line");
        QTest::newRow("the longest recording") << "length"
                                               << "dictation: hit max length, wrapping up";
        QTest::newRow("sleep") << "sleep"
                               << "dictation: system sleeping, wrapping up";
        QTest::newRow("the microphone is unplugged")
            << "unplug"
            << "errors: audio_lost: input device disappeared mid-recording";
    }

    void whatEndsTheRecordingSendsIt() {
        QFETCH(QString, event);
        QFETCH(QString, line);
        m_rig->settings.set(SettingKey::maxRecordingSeconds, 3.0);
        m_rig->controller.begin(true);
        m_rig->scheduler.runPending();
        m_rig->speak(2);
        if (event == "length") m_rig->speak(1.1);
        if (event == "sleep") m_rig->systemEvents.sleep();
        if (event == "unplug") m_rig->audio.unplug();
        m_rig->scheduler.runPending();
        QVERIFY(m_rig->logged(line));
        QCOMPARE(m_rig->takeStates().last(), "transcribing");
        m_rig->engineAnswers("so far");
        QCOMPARE(boxText(), "so far");
    }

    void tooLittleSoundEndsInNothing() {
        m_rig->controller.begin(true);
        m_rig->scheduler.runPending();
        m_rig->speak(0.1);
        m_rig->controller.finish();
        QCOMPARE(m_rig->takeStates(), (QStringList{"listening", "idle"}));
        m_rig->scheduler.runPending();
        QVERIFY(m_rig->logged("dictation: nothing captured"));
        QCOMPARE(m_rig->clipsAtEngine(), 0);
    }

    void aKeyLetGoBeforeAColdMicrophoneHasOpenedEndsIt() {
        m_rig->controller.begin(true);
        m_rig->controller.finish();
        QCOMPARE(m_rig->takeStates(), (QStringList{"listening", "idle"}));
        pass(1);
        QVERIFY(!m_rig->controller.isRecording());
        QVERIFY(m_rig->logged("dictation: nothing captured"));
        QVERIFY(!m_rig->logged("dictation: listening"));
        m_rig->controller.begin(true); // and the next one is not hurt by the late start
        m_rig->scheduler.runPending();
        QVERIFY(m_rig->controller.isRecording());
    }

    void aMicrophoneThatCannotStartFails() {
        m_rig->audio.unplug();
        pass(1);
        m_rig->controller.begin(true);
        pass(0.1);
        QCOMPARE(m_rig->takeStates().last(),
                 "failed: No microphone found. Check System Settings → Sound → Input.");
        QCOMPARE(m_rig->soundPlayer.played, QStringList{"Basso"});
        pass(4.3);
        QCOMPARE(m_rig->takeStates(), QStringList{"idle"});
    }

    void aMicrophoneThatMustBeAskedForStartsOnceGranted_data() {
        QTest::addColumn<bool>("granted");
        QTest::newRow("granted") << true;
        QTest::newRow("refused") << false;
    }

    void aMicrophoneThatMustBeAskedForStartsOnceGranted() {
        QFETCH(bool, granted);
        m_rig->microphone.current = MicrophoneStatus::notDetermined;
        m_rig->controller.begin(true);
        QVERIFY(m_rig->takeStates().isEmpty());
        m_rig->microphone.answer(granted);
        m_rig->scheduler.runPending();
        const QString expected =
            granted ? "listening" : "failed: " + DictationText::microphoneOff();
        QCOMPARE(m_rig->takeStates(), QStringList{expected});
        QCOMPARE(m_rig->controller.startedByHotkey(), granted);
    }

    void whatTheEngineSaysDecides_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("report");
        QTest::newRow("nothing heard")
            << 200 << QByteArray(R"({"text": " [BLANK_AUDIO]\n"})") << "idle"
            << "";
        QTest::newRow("no JSON") << 200 << QByteArray("plain words") << "delivered: plain words"
                                 << "";
        QTest::newRow("an error") << 500 << QByteArray("secret text")
                                  << "failed: Speech engine error 500: secret text"
                                  << "errors: transcribe_failed: server error 500";
        QTest::newRow("an error that cannot be read")
            << 404 << QByteArray("\xff") << "failed: Speech engine error 404"
            << "errors: transcribe_failed: server error 404";
    }

    void whatTheEngineSaysDecides() {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, state);
        QFETCH(QString, report);
        dictate();
        m_rig->engineRefuses(status, body);
        QCOMPARE(m_rig->takeStates().last(), state);
        m_rig->scheduler.runPending();
        if (!report.isEmpty()) QVERIFY(m_rig->logged(report));
        QCOMPARE(m_rig->history.entries().size(), state.startsWith("delivered") ? 1 : 0);
        // What could not be transcribed is not lost.
        QFile kept(m_rig->paths.file("untranscribed.wav"));
        QCOMPARE(kept.exists(), state.startsWith("failed"));
        if (kept.open(QIODevice::ReadOnly)) QVERIFY(kept.readAll().startsWith("RIFF"));
    }

    void anEngineThatIsStillLoadingIsWaitedFor_data() {
        QTest::addColumn<double>("readyAfter"); // negative: never
        QTest::newRow("ready in time") << 20.0;
        QTest::newRow("too late") << -1.0;
    }

    void anEngineThatIsStillLoadingIsWaitedFor() {
        QFETCH(double, readyAfter);
        m_rig->server.restart();
        m_rig->scheduler.runPending();
        dictate();
        pass(readyAfter < 0 ? 29.8 : readyAfter);
        QCOMPARE(m_rig->takeStates().last(), "transcribing");
        QCOMPARE(m_rig->clipsAtEngine(), 0);
        if (readyAfter < 0) {
            pass(0.4);
            QCOMPARE(m_rig->takeStates().last(), "failed: " + DictationText::engineTooSlow());
        } else {
            m_rig->engineGetsReady();
            m_rig->engineAnswers("late but there");
            QCOMPARE(boxText(), "late but there");
        }
    }

    void anEngineThatHasFailedRefusesAtOnce() {
        m_rig->modelPath.clear();
        m_rig->server.restart();
        m_rig->scheduler.runPending();
        (void)m_rig->takeStates();
        m_rig->controller.begin(true);
        QCOMPARE(
            m_rig->takeStates(),
            QStringList{"failed: No speech model installed yet. Relaunch Murlo to download it."});
        QVERIFY(
            m_rig->logged("engine: No speech model installed yet. Relaunch Murlo to download it."));
        QVERIFY(!m_rig->controller.isRecording());
    }

    void previewsFeedTheLiveWordsOneAtATime() {
        m_rig->controller.begin(true);
        m_rig->scheduler.runPending();
        m_rig->speak(0.5);
        m_rig->speak(3.5); // three ticks, the first of which is not answered
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
        m_rig->controller.begin(true);
        m_rig->scheduler.runPending();
        m_rig->speak(1.3);
        QCOMPARE(m_rig->clipsAtEngine(), 1);
        m_rig->controller.cancel();
        m_rig->controller.begin(true);
        m_rig->scheduler.runPending();
        QCOMPARE(m_rig->clipsAtEngine(), 0);
        QVERIFY(m_rig->overlay.model().words().isEmpty());
    }

    void cancelGivesUpAtEveryStage_data() {
        QTest::addColumn<QString>("stage");
        QTest::addColumn<QString>("line");
        QTest::newRow("listening") << "listening"
                                   << "dictation: cancelled";
        QTest::newRow("transcribing") << "transcribing"
                                      << "dictation: discarded result arrived, dropped";
        QTest::newRow("waiting for the engine") << "waiting"
                                                << "dictation: discarded result arrived, dropped";
        QTest::newRow("enhancing") << "enhancing"
                                   << "dictation: enhanced text dropped, session moved on";
        QTest::newRow("the box is being refocused")
            << "refocusing"
            << "dictation: discarded result arrived, dropped";
        QTest::newRow("transcribing, and the next one has begun")
            << "next"
            << "dictation: discarded result arrived, dropped";
    }

    void cancelGivesUpAtEveryStage() {
        QFETCH(QString, stage);
        QFETCH(QString, line);
        if (stage == "listening") {
            m_rig->controller.begin(true);
            m_rig->scheduler.runPending();
            m_rig->speak(1);
            m_rig->controller.cancel();
            QVERIFY(!m_rig->controller.isRecording());
        } else {
            if (stage == "waiting") {
                m_rig->server.restart();
                m_rig->scheduler.runPending();
            }
            if (stage == "enhancing") {
                m_rig->settings.set(SettingKey::enhancePrompt, true);
                m_rig->settings.set(SettingKey::accountEmail, QString("someone@example.com"));
            }
            dictate();
            if (stage == "refocusing") m_rig->accessibility.setFocused(nullptr);
            if (stage == "enhancing" || stage == "refocusing") m_rig->engineAnswersOnly("unwanted");
            m_rig->controller.cancel();
            if (stage == "next") m_rig->controller.begin(true);
            if (stage == "waiting") m_rig->engineGetsReady();
            if (stage == "transcribing" || stage == "next" || stage == "waiting") {
                m_rig->engineAnswers("unwanted");
            }
        }
        QCOMPARE(m_rig->takeStates().last(), stage == "next" ? "listening" : "idle");
        pass(3);
        QVERIFY2(m_rig->logged(line), qPrintable(m_rig->log.lines().join('\n')));
        QVERIFY(m_rig->pasted.isEmpty());
        QVERIFY(m_rig->history.entries().isEmpty());
        QCOMPARE(m_rig->soundPlayer.played.count("Bottle"), 1);
    }

    void anEarlierDictationReachesItsOwnBoxWhileTheNextIsSpoken() {
        dictate();
        const ElementRef second = m_rig->accessibility.add("AXTextArea");
        m_rig->accessibility.setFocused(second);
        m_rig->controller.begin(true);
        m_rig->scheduler.runPending();
        m_rig->speak(0.7);
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
        QCOMPARE(m_rig->controller.history(), (QStringList{"second", "first"}));
    }

    void anEarlierFailureLeavesTheNextAlone() {
        dictate();
        m_rig->controller.begin(true);
        m_rig->scheduler.runPending();
        (void)m_rig->takeStates();
        m_rig->engineRefuses(500, "\xff");
        QVERIFY(m_rig->takeStates().isEmpty());
        QVERIFY(m_rig->controller.isRecording());
        m_rig->scheduler.runPending();
        QVERIFY(m_rig->logged("dictation: Speech engine error 500"));
    }

    void aTextBeingEnhancedIsDroppedWhenTheNextBegins() {
        m_rig->settings.set(SettingKey::enhancePrompt, true);
        m_rig->settings.set(SettingKey::accountEmail, QString("someone@example.com"));
        dictate();
        m_rig->engineAnswersOnly("old");
        QCOMPARE(m_rig->takeStates().last(), "enhancing");
        m_rig->controller.begin(true);
        pass(1);
        QVERIFY(m_rig->pasted.isEmpty());
        QVERIFY(m_rig->logged("dictation: enhanced text dropped, session moved on"));
    }

    void aBoxThatLostTheFocusGetsItBack_data() {
        QTest::addColumn<QString>("box");
        QTest::addColumn<double>("notBefore");
        QTest::addColumn<double>("notAfter");
        QTest::newRow("it still has it") << "focused" << 0.0 << 0.0;
        QTest::newRow("it can be refocused") << "elsewhere" << 0.17 << 0.19;
        QTest::newRow("its program hangs") << "hung" << 0.0 << 2.5;
        QTest::newRow("it is gone") << "gone" << 0.0 << 0.41;
    }

    void aBoxThatLostTheFocusGetsItBack() {
        QFETCH(QString, box);
        QFETCH(double, notBefore);
        QFETCH(double, notAfter);
        dictate();
        if (box != "focused") m_rig->accessibility.setFocused(nullptr);
        if (box == "hung") m_rig->accessibility.node(m_rig->box).hung = true;
        if (box == "gone") m_rig->accessibility.node(m_rig->box).gone = true;
        m_rig->engineAnswersOnly("words");
        if (notBefore > 0) {
            pass(notBefore);
            QVERIFY(m_rig->pasted.isEmpty());
        }
        pass(notAfter - notBefore);
        QCOMPARE(boxText(), "words");
        pass(3);
        QCOMPARE(m_rig->pasted.size(), 1);
        if (box == "elsewhere") QVERIFY(m_rig->boxAtPaste.first()->isSame(*m_rig->box));
    }

    void aPickedBoxIsPinned() {
        const ElementRef picked = m_rig->accessibility.add("AXTextField");
        InputTarget target;
        target.element = picked;
        target.pid = 7;
        m_rig->controller.startAfterTargetPicked(target);
        m_rig->scheduler.runPending();
        QVERIFY(!m_rig->controller.startedByHotkey());
        m_rig->speak(1);
        m_rig->controller.finish();
        m_rig->scheduler.runPending();
        m_rig->engineAnswers("there");
        pass(1);
        QVERIFY(m_rig->boxAtPaste.first()->isSame(*picked));
    }

    void whatTheInserterSaysIsShown() {
        m_rig->settings.set(SettingKey::insertMode, QString("clipboardOnly"));
        dictate();
        m_rig->engineAnswers("to copy");
        QCOMPARE(m_rig->takeStates().last(), "delivered: to copy");
        QCOMPARE(m_rig->overlay.model().state().text, "Copied to clipboard. Copy-only mode is on.");
        QCOMPARE(m_rig->pasteboard.text(), "to copy");
    }

    void tenTextsAreRemembered() {
        for (int i = 0; i < 12; ++i) {
            dictate();
            m_rig->engineAnswers(QString::number(i));
            pass(1);
        }
        QCOMPARE(m_rig->controller.history().size(), 10);
        QCOMPARE(m_rig->controller.history().first(), "11");
        QCOMPARE(m_rig->history.entries().size(), 12);
    }

    void nothingTicksWhenIdle() {
        dictate();
        m_rig->engineAnswers("done");
        pass(10);
        QCOMPARE(m_rig->scheduler.pendingTimers(), 0);
    }

    void anEndInTheMiddleOfAnythingIsHarmless() {
        for (const QString stage : {"starting", "recording", "transcribing", "refocusing"}) {
            m_rig = std::make_unique<DictationRig>();
            m_rig->engineGetsReady();
            m_rig->controller.begin(true);
            if (stage != "starting") {
                m_rig->scheduler.runPending();
                m_rig->speak(1);
            }
            if (stage == "transcribing" || stage == "refocusing") m_rig->controller.finish();
            if (stage == "refocusing") {
                m_rig->scheduler.runPending();
                m_rig->accessibility.setFocused(nullptr);
                m_rig->engineAnswersOnly("words");
            }
        }
    }
};

QTEST_GUILESS_MAIN(DictationControllerTest)
#include "DictationControllerTest.moc"
