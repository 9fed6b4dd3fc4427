#include "menubar/StatusItemController.h"
#include "platform/linux/x11/surfaces/X11Surfaces.h"
#include "platform/linux/x11/windows/X11Desktop.h"
#include "settings/SettingsModel.h"
#include "tests/fakes/FakeLoginItem.h"
#include "tests/harness/DictationRig.h"

#include <QApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusMessage>
#include <QDBusPendingReply>
#include <QProcess>
#include <QTest>
#include <QThread>

#include <mutex>

#include <xcb/xtest.h>

using namespace murlo;

namespace {

/// What a tray of the new kind has on the bus. It lives in a thread of its own, as Qt waits for its
/// answers.
class TrayWatcher : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hasHost)

public:
    [[nodiscard]] bool hasHost() const { return true; }

    [[nodiscard]] QStringList items() const {
        const std::lock_guard held(m_lock);
        return m_items;
    }

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString& name) {
        const std::lock_guard held(m_lock);
        m_items << name;
    }
    void RegisterStatusNotifierHost(const QString&) {}

private:
    mutable std::mutex m_lock;
    QStringList m_items; ///< that have come
};

/// A tray of the new kind.
class TrayHost {
public:
    TrayHost() {
        m_bus.registerObject("/StatusNotifierWatcher", &m_watcher,
                             QDBusConnection::ExportAllSlots |
                                 QDBusConnection::ExportAllProperties);
        m_watcher.moveToThread(&m_thread);
        m_thread.start();
        if (!m_bus.registerService("org.kde.StatusNotifierWatcher")) qWarning("no bus name");
    }
    ~TrayHost() {
        QDBusConnection::disconnectFromBus("tray");
        m_thread.quit();
        m_thread.wait();
    }

    [[nodiscard]] QStringList items() const { return m_watcher.items(); }
    /// The titles of the item's menu, opened as a host opens it; empty for separators.
    [[nodiscard]] QStringList openMenu() {
        call("AboutToShow", {0});
        const QDBusMessage layout = call("GetLayout", {0, 1, QStringList("label")});
        QStringList titles;
        m_ids.clear();
        const auto root = layout.arguments().value(1).value<QDBusArgument>();
        root.beginStructure();
        int id = 0;
        QVariantMap properties;
        root >> id >> properties;
        root.beginArray();
        while (!root.atEnd()) {
            QDBusVariant child;
            root >> child;
            const auto entry = child.variant().value<QDBusArgument>();
            entry.beginStructure();
            entry >> id >> properties;
            m_ids << id;
            titles << properties.value("label").toString();
        }
        return titles;
    }
    void choose(qsizetype row) {
        call("Event", {m_ids[row], "clicked", QVariant::fromValue(QDBusVariant(0)), 0U});
    }

private:
    QDBusMessage call(const QString& method, const QVariantList& arguments) {
        QDBusMessage message = QDBusMessage::createMethodCall(items().last(), "/MenuBar",
                                                              "com.canonical.dbusmenu", method);
        message.setArguments(arguments);
        QDBusPendingCall pending = m_bus.asyncCall(message);
        // The item lives in this process: it answers while the loop runs.
        if (!QTest::qWaitFor([&] { return pending.isFinished(); })) qWarning("no answer");
        return pending.reply();
    }

    QDBusConnection m_bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, "tray");
    QThread m_thread;
    TrayWatcher m_watcher;
    QList<int> m_ids;
};

/// Debian's trayer, a tray of the old kind.
class OldTray {
public:
    OldTray() { m_process.start("trayer", {"--edge", "top", "--align", "right"}); }
    ~OldTray() {
        m_process.terminate();
        m_process.waitForFinished();
    }

private:
    QProcess m_process;
};

void click(const QPoint& place) {
    const XcbConnection server;
    const auto event = [&](uint8_t type, uint8_t detail) {
        xcb_test_fake_input(server, type, detail, 0, server.root(), static_cast<int16_t>(place.x()),
                            static_cast<int16_t>(place.y()), 0);
    };
    event(XCB_MOTION_NOTIFY, 0);
    event(XCB_BUTTON_PRESS, 1);
    event(XCB_BUTTON_RELEASE, 1);
    server.sync();
}

} // namespace

/// The item in real trays. Qt serves one kind of tray per process, so each kind has a process: the
/// test runs itself again for the second.
class TrayTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aTrayOnTheBusThatComesLateOrIsRestartedGetsTheItem() {
        if (m_old) return;
        m_item->show();
        {
            TrayHost tray;
            QTRY_COMPARE(tray.items().size(), 1);
            int toggled = 0;
            m_item->onToggleDictation = [&] { ++toggled; };
            QCOMPARE(tray.openMenu().first(), "Start Dictation  (double-tap Left ⇧)");
            QCOMPARE(tray.openMenu().value(2), "Engine: stopped");
            tray.choose(0);
            QTRY_COMPARE(toggled, 1); // Qt triggers it on a later turn
            m_model.setEngineState({EngineState::ready, {}});
            QCOMPARE(tray.openMenu().value(2), "Engine: ready");
        }
        TrayHost restarted;
        QTRY_COMPARE(restarted.items().size(), 1);
        QCOMPARE(restarted.openMenu().last(), "Quit Murlo");
    }

    void anOldTrayThatComesLateOrIsRestartedGetsTheItem() {
        if (!m_old) {
            const QByteArray name = QTest::currentTestFunction();
            qputenv("MURLO_TEST_OLD_TRAY", "1");
            QCOMPARE(QProcess::execute(QCoreApplication::applicationFilePath(), {name}), 0);
            return;
        }
        m_item->show();
        QVERIFY(m_item->geometry().isEmpty());
        { // the first tray
            const OldTray tray;
            QTRY_VERIFY_WITH_TIMEOUT(!m_item->geometry().isEmpty(), 15000);
        }
        QTRY_VERIFY(m_item->geometry().isEmpty());
        const OldTray restarted;
        QTRY_VERIFY_WITH_TIMEOUT(!m_item->geometry().isEmpty(), 15000);
        QTRY_VERIFY_WITH_TIMEOUT(
            (click(m_item->geometry().center()), QApplication::activePopupWidget()), 15000);
        const auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        QCOMPARE(menu->actions().first()->text(), "Start Dictation  (double-tap Left ⇧)");
        QApplication::activePopupWidget()->close();
    }

private:
    const bool m_old = qEnvironmentVariableIsSet("MURLO_TEST_OLD_TRAY");
    DictationRig m_rig;
    FakeLoginItem m_login;
    std::shared_ptr<RootWatch> m_watch = std::make_shared<RootWatch>();
    X11Desktop m_desktop{m_watch};
    X11Surfaces m_surfaces{m_rig.scheduler, m_watch};
    SettingsModel m_model{m_rig.settings, m_login};
    std::unique_ptr<StatusItemController> m_item = std::make_unique<StatusItemController>(
        StatusItemController::Partners{m_rig.controller, m_rig.history, m_rig.settings, m_model,
                                       m_rig.pasteboard, m_desktop, m_surfaces});
};

QTEST_MAIN(TrayTest)
#include "TrayTest.moc"
