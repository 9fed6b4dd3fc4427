#include "platform/linux/freedesktop/MotionPreference.h"
#include "tests/harness/Files.h"
#include "tests/harness/Rows.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace murlo;

namespace {

/// The desktop's settings portal, which knows one setting.
class Portal : public QObject, public QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    QStringList setting; ///< its area and key
    QVariant value;

public Q_SLOTS:
    QDBusVariant Read(const QString& area, const QString& key) {
        if (QStringList{area, key} != setting)
            sendErrorReply("org.freedesktop.portal.Error.NotFound", "no such setting");
        return QDBusVariant(value);
    }

Q_SIGNALS:
    void SettingChanged(const QString& area, const QString& key, const QDBusVariant& value);
};

} // namespace

class MotionPreferenceTest : public QObject {
    Q_OBJECT

    Portal m_portal;

private Q_SLOTS:
    void initTestCase() {
        QDBusConnection bus = QDBusConnection::sessionBus();
        QVERIFY(bus.registerService("org.freedesktop.portal.Desktop"));
        QVERIFY(bus.registerObject("/org/freedesktop/portal/desktop", &m_portal,
                                   QDBusConnection::ExportAllContents));
    }

    void gtksFileCountsWhereThePortalKnowsNothing() {
        const QTemporaryDir config;
        qputenv("XDG_CONFIG_HOME", config.path().toUtf8());
        QVERIFY(!MotionPreference().isReduced());
        putFile(config.filePath("gtk-3.0/settings.ini"), "[Settings]\ngtk-enable-animations=0\n");
        QVERIFY(MotionPreference().isReduced());
        qunsetenv("XDG_CONFIG_HOME");
    }

    void thePortalIsAskedAndTellsOfChanges_data() {
        const Rows<QStringList, QVariant, QVariant> row; // less motion and more
        const QStringList common{"org.freedesktop.appearance", "reduced-motion"};
        row("GNOME", {"org.gnome.desktop.interface", "enable-animations"}, false, true);
        row("KDE", {"org.kde.kdeglobals.KDE", "AnimationDurationFactor"}, 0.0, 0.5);
        row("common", common, 1U, 0U);
        row("common, of an older portal", common, QVariant::fromValue(QDBusVariant(1U)), 0U);
    }
    void thePortalIsAskedAndTellsOfChanges() {
        const auto [setting, less, more] = fetch<QStringList, QVariant, QVariant>();
        m_portal.setting = setting;
        m_portal.value = less;
        const MotionPreference motion;
        QSignalSpy changes(&motion, &MotionPreference::changed);
        QTRY_VERIFY(motion.isReduced());
        Q_EMIT m_portal.SettingChanged("org.example", setting.last(), QDBusVariant(more));
        Q_EMIT m_portal.SettingChanged(setting.first(), setting.last(), QDBusVariant(more));
        QTRY_VERIFY(!motion.isReduced());
        QCOMPARE(changes.size(), 2); // and none for what is another's
    }
};

QTEST_GUILESS_MAIN(MotionPreferenceTest)
#include "MotionPreferenceTest.moc"
