#include "look/Look.h"
#include "menubar/StatusItemController.h"
#include "platform/linux/x11/surfaces/X11Surfaces.h"
#include "platform/linux/x11/windows/X11Desktop.h"
#include "settings/SettingsModel.h"
#include "tests/fakes/FakeLoginItem.h"
#include "tests/harness/DictationRig.h"
#include "tests/harness/desktop/Windows.h"

#include <QApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingReply>
#include <QProcess>
#include <QTest>
#include <QThread>
#include <QtEndian>

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

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString& name) { Q_EMIT came(name); }
    void RegisterStatusNotifierHost(const QString&) {}

Q_SIGNALS:
    void came(const QString& name);
};

/// A tray of the new kind.
class TrayHost {
public:
    TrayHost() {
        QObject::connect(&m_watcher, &TrayWatcher::came, &m_here,
                         [this](const QString& name) { items << name; });
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

    QStringList items; ///< that have come
    /// The titles of the item's menu, opened as a host opens it; empty for separators.
    [[nodiscard]] QStringList openMenu() {
        call("AboutToShow", {0});
        const QDBusMessage layout = call("GetLayout", {0, 1, QStringList("label")});
        const auto root = layout.arguments().value(1).value<QDBusArgument>();
        int id = 0;
        QVariantMap properties;
        QList<QDBusVariant> entries;
        root.beginStructure();
        root >> id >> properties >> entries;
        QStringList titles;
        m_ids.clear();
        for (const QDBusVariant& child : entries) {
            const auto entry = child.variant().value<QDBusArgument>();
            entry.beginStructure();
            entry >> id >> properties;
            m_ids << id;
            titles << properties.value("label").toString();
        }
        return titles;
    }
    /// The colour of most of the item's picture.
    [[nodiscard]] QColor tint() {
        const QDBusMessage answer = call("Get", {"org.kde.StatusNotifierItem", "IconPixmap"},
                                         "/StatusNotifierItem", "org.freedesktop.DBus.Properties");
        const auto sizes =
            answer.arguments().value(0).value<QDBusVariant>().variant().value<QDBusArgument>();
        int side = 0;
        QByteArray bytes; // alpha, red, green, blue
        sizes.beginArray();
        sizes.beginStructure();
        sizes >> side >> side >> bytes;
        QMap<QRgb, int> solid;
        for (qsizetype i = 0; i < bytes.size(); i += 4) {
            const auto pixel = qFromBigEndian<QRgb>(bytes.constData() + i);
            if (qAlpha(pixel) == 255) ++solid[pixel];
        }
        return solid.isEmpty() ? QColor() : solid.key(*std::ranges::max_element(solid));
    }
    void choose(qsizetype row) {
        call("Event", {m_ids[row], "clicked", QVariant::fromValue(QDBusVariant(0)), 0U});
    }

private:
    QDBusMessage call(const QString& method, const QVariantList& arguments,
                      const QString& path = "/MenuBar",
                      const QString& interface = "com.canonical.dbusmenu") {
        QDBusMessage message =
            QDBusMessage::createMethodCall(items.last(), path, interface, method);
        message.setArguments(arguments);
        QDBusPendingCall pending = m_bus.asyncCall(message);
        // The item lives in this process: it answers while the loop runs.
        if (!QTest::qWaitFor([&] { return pending.isFinished(); })) qWarning("no answer");
        return pending.reply();
    }

    QDBusConnection m_bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, "tray");
    QThread m_thread;
    TrayWatcher m_watcher;
    QObject m_here; ///< of this thread
    QList<int> m_ids;
};

} // namespace

/// The item in real trays. Qt serves one kind of tray per process, so each kind has a process: the
/// test runs itself again for the second.
class TrayTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aTrayOnTheBusThatComesLateOrIsRestartedGetsTheItemAndItsTint() {
        m_item->show();
        {
            TrayHost tray;
            QTRY_COMPARE(tray.items.size(), 1);
            int toggled = 0;
            m_item->onToggleDictation = [&] { ++toggled; };
            QCOMPARE(tray.openMenu().first(), "Start Dictation  (double-tap Left ⇧)");
            QCOMPARE(tray.openMenu().value(2), "Engine: stopped");
            tray.choose(0);
            QTRY_COMPARE(toggled, 1); // Qt triggers it on a later turn
            m_model.setEngineState({EngineState::ready, {}});
            QCOMPARE(tray.openMenu().value(2), "Engine: ready");
            for (const auto& [state, color] :
                 {std::pair(DictationState::listening, Look::red),
                  std::pair(DictationState::failed, Look::orange),
                  std::pair(DictationState::idle, QColor(Qt::white))}) {
                m_item->apply({state, {}});
                QCOMPARE(tray.tint(), color);
            }
        }
        TrayHost restarted;
        QTRY_COMPARE(restarted.items.size(), 1);
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
        QProcess tray;
        tray.start("trayer", {"--edge", "top", "--align", "right"});
        QTRY_VERIFY_WITH_TIMEOUT(!m_item->geometry().isEmpty(), 15000);
        tray.terminate();
        QVERIFY(tray.waitForFinished());
        QTRY_VERIFY(m_item->geometry().isEmpty());
        tray.start();
        QTRY_VERIFY_WITH_TIMEOUT(!m_item->geometry().isEmpty(), 15000);
        QTRY_VERIFY_WITH_TIMEOUT(
            (clickAt(m_item->geometry().center()), QApplication::activePopupWidget()), 15000);
        const auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        QCOMPARE(menu->actions().first()->text(), "Start Dictation  (double-tap Left ⇧)");
        QApplication::activePopupWidget()->close();
        tray.terminate();
        QVERIFY(tray.waitForFinished());
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
