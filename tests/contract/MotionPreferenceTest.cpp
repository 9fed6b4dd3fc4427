#include "platform/linux/freedesktop/MotionPreference.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDir>
#include <QFile>
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
        QVERIFY(QDir(config.path()).mkdir("gtk-3.0"));
        QFile file(config.filePath("gtk-3.0/settings.ini"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[Settings]\ngtk-enable-animations=0\n");
        file.close();
        QVERIFY(MotionPreference().isReduced());
        qunsetenv("XDG_CONFIG_HOME");
    }

    void thePortalIsAskedAndTellsOfChanges_data() {
        QTest::addColumn<QStringList>("setting");
        QTest::addColumn<QVariant>("less");
        QTest::addColumn<QVariant>("more");
        QTest::newRow("GNOME") << QStringList{"org.gnome.desktop.interface", "enable-animations"}
                               << QVariant(false) << QVariant(true);
        QTest::newRow("KDE") << QStringList{"org.kde.kdeglobals.KDE", "AnimationDurationFactor"}
                             << QVariant(0.0) << QVariant(0.5);
        QTest::newRow("common") << QStringList{"org.freedesktop.appearance", "reduced-motion"}
                                << QVariant(1U) << QVariant(0U);
        QTest::newRow("common, of an older portal")
            << QStringList{"org.freedesktop.appearance", "reduced-motion"}
            << QVariant::fromValue(QDBusVariant(1U)) << QVariant(0U);
    }
    void thePortalIsAskedAndTellsOfChanges() {
        QFETCH(QStringList, setting);
        QFETCH(QVariant, less);
        QFETCH(QVariant, more);
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
