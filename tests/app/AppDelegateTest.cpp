#include "AppDelegate.h"
#include "CompositionRoot.h"
#include "tests/fakes/FakeAccessibility.h"
#include "tests/fakes/FakeApplications.h"
#include "tests/fakes/FakeAudioInput.h"
#include "tests/fakes/FakeDesktop.h"
#include "tests/fakes/FakeEventTap.h"
#include "tests/fakes/FakeHttpClient.h"
#include "tests/fakes/FakeInterruptions.h"
#include "tests/fakes/FakeKeySynthesizer.h"
#include "tests/fakes/FakeLoginItem.h"
#include "tests/fakes/FakeMicrophoneAuthorization.h"
#include "tests/fakes/FakePasteboard.h"
#include "tests/fakes/FakeProcessLauncher.h"
#include "tests/fakes/FakeSingleInstance.h"
#include "tests/fakes/FakeSoundPlayer.h"
#include "tests/fakes/FakeSurfaces.h"
#include "tests/fakes/FakeSystemEvents.h"
#include "tests/fakes/FakeTree.h"
#include "tests/fakes/VirtualScheduler.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

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
        on.scheduler = std::make_unique<VirtualScheduler>();
        VirtualScheduler& time = scheduler();
        on.singleInstance = std::make_unique<FakeSingleInstance>();
        on.systemEvents = std::make_unique<FakeSystemEvents>();
        on.processes = std::make_unique<FakeProcessLauncher>();
        on.makeHttpClient = http.maker();
        on.microphoneAuthorization = std::make_unique<FakeMicrophoneAuthorization>(time);
        auto microphone = std::make_unique<FakeAudioInput>(time);
        audio = microphone.get();
        on.audioInput = std::move(microphone);
        on.sounds = std::make_unique<FakeSoundPlayer>();
        on.loginItem = std::make_unique<FakeLoginItem>();
        auto others = std::make_unique<FakeApplications>();
        auto accessibility = std::make_unique<FakeAccessibility>(time);
        accessibility->setFocused(accessibility->add("AXTextArea"));
        auto tree = std::make_unique<FakeTree>(
            time,
            QStringList{"application Mail", "  window 0 0 700 600", "    AXTextField 10 10 200 24"},
            accessibility.get());
        others->windows = tree->shown;
        for (const auto& [pid, application] : tree->applications)
            others->running[pid].name = application.name;
        on.applications = std::move(others);
        on.accessibility = std::move(accessibility);
        on.accessibilityTree = std::move(tree);
        auto keyboard = std::make_unique<FakeEventTap>();
        tap = keyboard.get();
        if (!seesKeys) tap->setAccess(InputMonitoringAccess::denied);
        on.eventTap = std::move(keyboard);
        auto synthesizer = std::make_unique<FakeKeySynthesizer>(time);
        keys = synthesizer.get();
        on.keySynthesizer = std::move(synthesizer);
        on.pasteboard = std::make_unique<FakePasteboard>(time);
        on.desktop = std::make_unique<FakeDesktop>();
        on.surfaces = std::make_unique<FakeSurfaces>();
        on.interruptions = std::make_unique<FakeInterruptions>();
        on.diagnostics = std::make_unique<FakeDiagnostics>();
        QDir(folder.path()).mkpath("models");
        QVERIFY(QFile(folder.filePath("models/a.bin")).open(QIODevice::WriteOnly));
        disk = time.makeSerialQueue("test.disk");
        root = std::make_unique<CompositionRoot>(on, Paths(folder.path()), *disk, 8756);
        if (signedIn) root->settings.set(SettingKey::accountEmail, QString("me@example.com"));
        root->settings.set(SettingKey::holdThreshold, 0.35);
        app = std::make_unique<AppDelegate>(*root, [this] { ++ends; });
        app->didFinishLaunching();
        time.runPending();
    }

    [[nodiscard]] VirtualScheduler& scheduler() const {
        return static_cast<VirtualScheduler&>(*on.scheduler);
    }
    [[nodiscard]] FakeSystemEvents& system() const {
        return static_cast<FakeSystemEvents&>(*on.systemEvents);
    }
    [[nodiscard]] DictationState::Case state() const { return root->controller.state().state; }

    void move(TriggerKey key, bool down) {
        const quint32 family = key == TriggerKey::leftShift || key == TriggerKey::rightShift
                                   ? ModifierFlag::shift
                                   : ModifierFlag::command;
        tap->modifier(info(key).keyCode, down ? info(key).deviceFlag | family : 0,
                      qint64(scheduler().uptime() * 1000));
        scheduler().runPending();
    }
    /// The second press lasts so many seconds.
    void doubleTap(TriggerKey key, double held = 0.05) {
        for (const double seconds : {0.05, held}) {
            move(key, true);
            for (double left = seconds; left > 0; left -= 0.01) {
                audio->speak(std::vector<float>(480, 0.2F));
                scheduler().advance(0.01);
            }
            move(key, false);
            scheduler().advance(0.08);
        }
    }
    /// Records for long enough that there is something to transcribe.
    void speak() {
        for (int i = 0; i < 100; ++i) {
            audio->speak(std::vector<float>(480, 0.2F));
            scheduler().advance(0.01);
        }
    }

    QTemporaryDir folder;
    FakeHttpClient http;
    Platform on;
    FakeEventTap* tap = nullptr;
    FakeAudioInput* audio = nullptr;
    FakeKeySynthesizer* keys = nullptr;
    int ends = 0;
    std::unique_ptr<SerialQueue> disk;
    std::unique_ptr<CompositionRoot> root;
    std::unique_ptr<AppDelegate> app;
};

QMessageBox* question() {
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (auto* box = qobject_cast<QMessageBox*>(window); box && box->isVisible()) return box;
    }
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
        const Program known;
        QVERIFY(known.tap->isInstalled() && known.root->settingsModel.hotkeyLive());
    }

    void aTapGoesOnUntilTheNextAndAHoldEndsWithTheKey() {
        Program program;
        program.doubleTap(dictate);
        QCOMPARE(program.state(), DictationState::listening);
        program.speak();
        program.doubleTap(dictate);
        QVERIFY(program.state() != DictationState::listening);
        program.root->controller.cancel();
        program.scheduler().advance(3);
        program.doubleTap(dictate, 0.36);
        QVERIFY(program.state() != DictationState::listening);
        program.root->controller.cancel();
        program.scheduler().advance(3);
        program.doubleTap(dictate, 0.34);
        QCOMPARE(program.state(), DictationState::listening);
        // Begun from the menu, it ends with no key that is let go.
        program.root->controller.cancel();
        program.root->controller.begin(false);
        program.speak();
        program.root->hotkeys.onTriggerUp(HotkeyAction::dictate, 9);
        QCOMPARE(program.state(), DictationState::listening);
        program.root->controller.cancel();
        program.root->controller.begin(true);
        program.speak();
        program.root->hotkeys.onTriggerUp(HotkeyAction::pickTarget, 9);
        QCOMPARE(program.state(), DictationState::listening);
    }

    void lettersAndDictationsGiveWayToEachOther() {
        Program program;
        program.doubleTap(pick);
        QVERIFY(program.root->hints.isActive() && program.tap->isFiltering());
        QVERIFY(!program.tap->press(0, "a")); // it is a letter's
        program.scheduler().advance(1);
        QVERIFY(!program.root->hints.isActive() && !program.tap->isFiltering());
        QCOMPARE(program.state(), DictationState::listening); // into the box of that letter
        program.speak();
        program.doubleTap(pick); // ends it, and shows none
        QVERIFY(!program.root->hints.isActive());
        QVERIFY(program.state() != DictationState::listening);
        program.root->controller.cancel();
        program.scheduler().advance(3);
        program.doubleTap(pick);
        QVERIFY(program.root->hints.isActive());
        program.doubleTap(dictate);
        QVERIFY(!program.root->hints.isActive());
        QCOMPARE(program.state(), DictationState::listening);
        QVERIFY(program.tap->press(HotkeyMonitor::escapeKeyCode));
        QCOMPARE(program.state(), DictationState::idle);
    }

    void triggersComeToLifeWithThePermission() {
        Program program(true, false);
        QVERIFY(!program.tap->isInstalled() && !program.root->settingsModel.hotkeyLive());
        program.scheduler().advance(2.9);
        program.tap->setAccess(InputMonitoringAccess::granted);
        QVERIFY(!program.tap->isInstalled());
        program.scheduler().advance(0.2);
        QVERIFY(program.tap->isInstalled() && program.root->settingsModel.hotkeyLive());
        const int timers = program.scheduler().pendingTimers();
        program.scheduler().advance(30);
        QCOMPARE(program.scheduler().pendingTimers(), timers);
        QCOMPARE(program.tap->installations, 1);
    }

    void whoQuitsIsAskedOnce() {
        Program program;
        program.app->quitRule().requested();
        QVERIFY(question());
        question()->reject();
        QCOMPARE(program.ends, 0);
        program.app->quitRule().requested();
        for (QAbstractButton* button : question()->buttons())
            if (question()->buttonRole(button) == QMessageBox::AcceptRole) {
                button->click();
                break;
            }
        QCOMPARE(program.ends, 1);
        QVERIFY(program.root->settings.truth(SettingKey::hasQuitOnce));
        Program later;
        later.root->settings.set(SettingKey::hasQuitOnce, true);
        later.app->quitRule().requested();
        QVERIFY(!question());
        QCOMPARE(later.ends, 1);
    }

    void theSystemIsNotAsked() {
        for (const bool signal : {true, false}) {
            Program program;
            if (signal) {
                program.system().terminate();
            } else {
                program.system().powerOff();
                QCOMPARE(program.ends, 0);
                program.app->quitRule().requested();
            }
            QVERIFY(!question());
            QCOMPARE(program.ends, 1);
            QVERIFY(!program.tap->isInstalled());
            program.app->quitRule().quit();
            QCOMPARE(program.ends, 1);
        }
    }

    void wordsOnTheirWayArriveBeforeTheEnd() {
        Program program;
        program.root->inserter.insert(QString(30, 'x'), InsertMode::type, {}, [](const auto&) {});
        program.app->quitRule().quit();
        QCOMPARE(program.ends, 0);
        program.scheduler().advance(1);
        QVERIFY(program.keys->endings == 1 && program.ends == 1);
        Program slow;
        slow.root->inserter.insert(QString(99999, 'x'), InsertMode::type, {}, [](const auto&) {});
        slow.app->quitRule().quit();
        slow.scheduler().advance(2.9);
        QCOMPARE(slow.ends, 0);
        slow.scheduler().advance(0.2);
        QVERIFY(slow.keys->endings == 0 && slow.ends == 1);
    }

    void whatEndsTakesEverythingBack() {
        Program program;
        program.doubleTap(dictate);
        program.speak();
        program.app->willTerminate();
        program.scheduler().runPending();
        QVERIFY(!program.tap->isInstalled());
        QVERIFY(!QDir(program.folder.path()).entryList({"*.wav"}).isEmpty()); // what was said
    }
};

QTEST_MAIN(AppDelegateTest)
#include "AppDelegateTest.moc"
