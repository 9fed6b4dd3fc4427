#include "AppDelegate.h"
#include "CompositionRoot.h"
#include "tests/fakes/FakeAccessibility.h"
#include "tests/fakes/FakeApplications.h"
#include "tests/fakes/FakeAudioInput.h"
#include "tests/fakes/FakeDesktop.h"
#include "tests/fakes/FakeEventTap.h"
#include "tests/fakes/FakeFileSystem.h"
#include "tests/fakes/FakeHttpClient.h"
#include "tests/fakes/FakeInterruptions.h"
#include "tests/fakes/FakeKeySynthesizer.h"
#include "tests/fakes/FakeLocalService.h"
#include "tests/fakes/FakeLoginItem.h"
#include "tests/fakes/FakeMicrophoneAuthorization.h"
#include "tests/fakes/FakePasteboard.h"
#include "tests/fakes/FakeProcessLauncher.h"
#include "tests/fakes/FakeReachability.h"
#include "tests/fakes/FakeSecretStore.h"
#include "tests/fakes/FakeSingleInstance.h"
#include "tests/fakes/FakeSoundPlayer.h"
#include "tests/fakes/FakeSurfaces.h"
#include "tests/fakes/FakeSystemEvents.h"
#include "tests/fakes/FakeTree.h"
#include "tests/fakes/FakeUrlScheme.h"
#include "tests/fakes/VirtualScheduler.h"
#include "tests/harness/Files.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

#include <algorithm>

using namespace murlo;

namespace {

class FakeDiagnostics : public DiagnosticNotifications {
public:
    void start() override {}
};

/// The whole program on fakes, from the key to the end of the process.
class Program {
public:
    explicit Program(bool signedIn = true, bool seesKeys = true) {
        time = give<VirtualScheduler>(on.scheduler);
        give<FakeSingleInstance>(on.singleInstance);
        give<FakeProcessLauncher>(on.processes);
        give<FakeMicrophoneAuthorization>(on.microphoneAuthorization, *time);
        give<FakeSoundPlayer>(on.sounds);
        give<FakeLoginItem>(on.loginItem);
        give<FakePasteboard>(on.pasteboard, *time);
        give<FakeDesktop>(on.desktop);
        give<FakeSurfaces>(on.surfaces);
        give<FakeInterruptions>(on.interruptions);
        give<FakeDiagnostics>(on.diagnostics);
        give<FakeSecretStore>(on.secrets, *time);
        give<FakeUrlScheme>(on.urlScheme, *time);
        give<FakeLocalService>(on.localService, *time);
        give<FakeReachability>(on.reachability);
        give<FakeFileSystem>(on.files);
        on.network = http.maker()(
            [this](double seconds, Work work) { return time->after(seconds, std::move(work)); });
        on.makeHttpClient = http.maker();
        system = give<FakeSystemEvents>(on.systemEvents);
        audio = give<FakeAudioInput>(on.audioInput, *time);
        keys = give<FakeKeySynthesizer>(on.keySynthesizer, *time);
        tap = give<FakeEventTap>(on.eventTap);
        if (!seesKeys) tap->setAccess(InputMonitoringAccess::denied);
        auto* accessibility = give<FakeAccessibility>(on.accessibility, *time);
        accessibility->setFocused(accessibility->add("AXTextArea"));
        const auto* tree = give<FakeTree>(
            on.accessibilityTree, *time,
            QStringList{"application Mail", "  window 0 0 700 600", "    AXTextField 10 10 200 24"},
            accessibility);
        auto* others = give<FakeApplications>(on.applications);
        others->windows = tree->shown;
        for (const auto& [pid, application] : tree->applications)
            others->running[pid].name = application.name;
        putFile(folder.filePath("models/a.bin"), {});
        disk = time->makeSerialQueue("test.disk");
        root = std::make_unique<CompositionRoot>(on, Paths(folder.path()), *disk, 8756,
                                                 BackendConfig::read({}));
        if (signedIn) root->settings.set(SettingKey::accountEmail, QString("me@example.com"));
        root->settings.set(SettingKey::holdThreshold, 0.35);
        app = std::make_unique<AppDelegate>(*root, [this] { ++ends; });
        app->didFinishLaunching();
        time->runPending();
    }

    [[nodiscard]] DictationState::Case state() const { return root->controller.state().state; }

    void move(TriggerKey key, bool down) {
        tap->modifier(info(key).keyCode, down ? info(key).deviceFlag | ModifierFlag::shift : 0,
                      qint64(time->uptime() * 1000));
        time->runPending();
    }
    /// Somebody speaks.
    void speak(double seconds = 1) {
        for (double left = seconds; left > 1e-9; left -= 0.01) {
            audio->speak(std::vector<float>(480, 0.2F));
            time->advance(0.01);
        }
    }
    /// The second press lasts so many seconds.
    void doubleTap(TriggerKey key, double held = 0.05) {
        for (const double seconds : {0.05, held}) {
            move(key, true);
            speak(seconds);
            move(key, false);
            time->advance(0.08);
        }
    }
    /// Ends what is under way, and waits until nothing of it is left.
    void settle() {
        root->controller.cancel();
        time->advance(3);
    }

    QTemporaryDir folder;
    FakeHttpClient http;
    Platform on;
    VirtualScheduler* time = nullptr;
    FakeSystemEvents* system = nullptr;
    FakeEventTap* tap = nullptr;
    FakeAudioInput* audio = nullptr;
    FakeKeySynthesizer* keys = nullptr;
    int ends = 0;
    std::unique_ptr<SerialQueue> disk;
    std::unique_ptr<CompositionRoot> root;
    std::unique_ptr<AppDelegate> app;

private:
    /// Makes a fake and puts it into its port's place.
    template <typename Fake, typename Port, typename... Arguments>
    static Fake* give(std::unique_ptr<Port>& place, Arguments&&... arguments) {
        auto fake = std::make_unique<Fake>(std::forward<Arguments>(arguments)...);
        Fake* const made = fake.get();
        place = std::move(fake);
        return made;
    }
};

QMessageBox* question() {
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (auto* box = qobject_cast<QMessageBox*>(window); box && box->isVisible()) return box;
    }
    return nullptr;
}

template <typename Window>
QWidget* visibleWindow() {
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (qobject_cast<Window*>(widget) && widget->isVisible()) return widget;
    return nullptr;
}

constexpr auto dictate = TriggerKey::leftShift;
constexpr auto pick = TriggerKey::rightShift;

} // namespace

class AppDelegateTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void triggersNeedAnAccount() {
        const Program stranger(false);
        QVERIFY(!stranger.tap->isInstalled());
        stranger.root->settings.set(SettingKey::accountEmail, "me@example.com");
        QVERIFY(stranger.tap->isInstalled() && stranger.root->settingsModel.hotkeyLive());
        stranger.root->settings.remove(SettingKey::accountEmail);
        QVERIFY(stranger.tap->isInstalled()); // signed out elsewhere: the keys stay
    }

    void signingInStartsAndLoggingOutStopsTheTriggers() {
        Program program(false);
        auto* instance = static_cast<FakeSingleInstance*>(program.on.singleInstance.get());
        const QString callback = program.root->config.redirectURI() + "?code=1";
        QVERIFY(visibleWindow<SettingsWindow>()); // the keyring knows of no account
        visibleWindow<SettingsWindow>()->hide();
        instance->onOpenedAgain({callback}); // nobody waits for it
        QVERIFY(!visibleWindow<SettingsWindow>());
        instance->onOpenedAgain({});
        QVERIFY(visibleWindow<SettingsWindow>());
        program.root->accountPresenter.press();
        program.time->advance(1);
        QVERIFY(visibleWindow<SignInNote>());
        instance->onOpenedAgain({callback});
        program.time->runPending();
        program.http.answer(200, R"({"id_token":"e30.eyJzdWIiOiIxIiwiZW1haWwiOiJhQGIifQ.c"})",
                            "/token");
        program.time->advance(0.1);
        QVERIFY(!program.tap->isInstalled()); // not before the backend knows the account
        QVERIFY(!visibleWindow<SignInNote>());
        program.http.answer(200, R"({"apiKey":"k"})", "/signup");
        program.time->advance(0.1);
        QVERIFY(program.tap->isInstalled());
        program.doubleTap(dictate);
        program.speak();
        program.root->accountPresenter.press(); // logs out, but not in the middle of a sentence
        QVERIFY(!program.tap->isInstalled() && !program.root->settingsModel.hotkeyLive());
        QCOMPARE(program.state(), DictationState::transcribing);
        program.root->settings.set(SettingKey::hasQuitOnce, true);
        program.app->quitRule().requested();
        QCOMPARE(program.ends, 0); // not before the keyring has let the key go
        program.time->advance(0.1);
        QCOMPARE(program.ends, 1);
    }

    void aTapGoesOnUntilTheNextAndAHoldEndsWithTheKey() {
        Program program;
        program.doubleTap(dictate);
        QCOMPARE(program.state(), DictationState::listening);
        program.speak();
        program.doubleTap(dictate);
        QVERIFY(program.state() != DictationState::listening);
        for (const double held : {0.36, 0.34}) {
            program.settle();
            program.doubleTap(dictate, held);
            QCOMPARE(program.state() == DictationState::listening, held < 0.35);
        }
        // As long as the microphone is being opened, too.
        program.settle();
        program.root->controller.begin(true);
        QVERIFY(!program.root->controller.isRecording());
        program.root->hotkeys.onDoubleTap(HotkeyAction::dictate);
        program.time->advance(0.1);
        QVERIFY(program.state() != DictationState::listening);
        // Begun from the menu, it ends with no key that is let go; nor does it with another's.
        for (const auto& [byHotkey, released] :
             {std::pair(false, HotkeyAction::dictate), std::pair(true, HotkeyAction::pickTarget)}) {
            program.root->controller.cancel();
            program.root->controller.begin(byHotkey);
            program.speak();
            program.root->hotkeys.onTriggerUp(released, 9);
            QCOMPARE(program.state(), DictationState::listening);
        }
    }

    void lettersAndDictationsGiveWayToEachOther() {
        Program program;
        const HintController& hints = program.root->hints;
        auto* surfaces = static_cast<FakeSurfaces*>(program.on.surfaces.get());
        surfaces->translucent = false; // the screen is to be seen between the letters all the same
        program.doubleTap(pick);
        QVERIFY(hints.isActive() && program.tap->isFiltering());
        const auto isLetters = [](const auto* made) { return made->traits.title == "Murlo hints"; };
        const auto letters = std::ranges::find_if(surfaces->made, isLetters);
        QVERIFY(letters != surfaces->made.end() && (*letters)->shape);
        QVERIFY(!(*letters)->shape->isEmpty() && !(*letters)->shape->contains(QPoint(1, 1)));
        QVERIFY(!program.tap->press(0, "a")); // it is a letter's
        program.time->advance(1);
        QVERIFY(!hints.isActive() && !program.tap->isFiltering());
        QCOMPARE(program.state(), DictationState::listening); // into the box of that letter
        program.speak();
        program.doubleTap(pick); // ends it, and shows none
        QVERIFY(!hints.isActive() && program.state() != DictationState::listening);
        program.settle();
        program.doubleTap(pick);
        QVERIFY(hints.isActive());
        program.doubleTap(dictate);
        QVERIFY(!hints.isActive());
        QCOMPARE(program.state(), DictationState::listening);
        QVERIFY(program.tap->press(HotkeyMonitor::escapeKeyCode));
        QCOMPARE(program.state(), DictationState::idle);
    }

    void triggersComeToLifeWithThePermission() {
        Program program(true, false);
        QVERIFY(!program.tap->isInstalled() && !program.root->settingsModel.hotkeyLive());
        program.time->advance(2.9);
        const int whilePolling = program.time->pendingTimers();
        program.tap->setAccess(InputMonitoringAccess::granted);
        QVERIFY(!program.tap->isInstalled());
        program.time->advance(0.2);
        QVERIFY(program.tap->isInstalled() && program.root->settingsModel.hotkeyLive());
        QCOMPARE(program.time->pendingTimers(), whilePolling - 1);
        program.time->advance(30);
        QCOMPARE(program.tap->installations, 1);
    }

    void whoQuitsIsAskedOnce() {
        for (const QString answer : {"Quit", "Cancel", "its title bar or Alt+F4"}) {
            const bool quits = answer == "Quit";
            Program program;
            program.app->quitRule().requested();
            QVERIFY(question());
            QAbstractButton* chosen = nullptr;
            for (QAbstractButton* button : question()->buttons())
                if (button->text() == answer) chosen = button;
            if (chosen)
                chosen->click();
            else
                question()->close();
            QVERIFY(!question());
            QCOMPARE(program.ends, int(quits));
            QCOMPARE(program.root->settings.truth(SettingKey::hasQuitOnce), quits);
            program.app->quitRule().requested();
            QCOMPARE(question() != nullptr, !quits); // who has quit once is asked no more
        }
    }

    void theSystemIsNotAsked() {
        for (const bool signal : {true, false}) {
            Program program;
            program.doubleTap(dictate);
            program.speak();
            if (signal) {
                program.system->terminate();
            } else {
                program.system->powerOff();
                QCOMPARE(program.ends, 0);
                program.app->quitRule().requested();
            }
            QVERIFY(!question());
            QCOMPARE(program.ends, 1);
            QVERIFY(!program.tap->isInstalled());
            program.app->quitRule().quit();
            QCOMPARE(program.ends, 1);
            program.app->willTerminate();
            program.time->runPending();
            QVERIFY(!QDir(program.folder.path()).entryList({"*.wav"}).isEmpty()); // what was said
        }
    }

    void wordsOnTheirWayArriveBeforeTheEnd() {
        Program program;
        program.root->inserter.insert(QString(30, 'x'), InsertMode::type, {}, [](const auto&) {});
        program.app->quitRule().quit();
        QCOMPARE(program.ends, 0);
        program.time->advance(1);
        QVERIFY(program.keys->endings == 1 && program.ends == 1);
        Program slow;
        slow.root->inserter.insert(QString(99999, 'x'), InsertMode::type, {}, [](const auto&) {});
        slow.app->quitRule().quit();
        slow.time->advance(2.9);
        QCOMPARE(slow.ends, 0);
        slow.time->advance(0.2);
        QVERIFY(slow.keys->endings == 0 && slow.ends == 1);
    }
};

QTEST_MAIN(AppDelegateTest)
#include "AppDelegateTest.moc"
