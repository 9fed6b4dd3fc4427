#include "platform/linux/freedesktop/MotionPreference.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QSettings>
#include <QStandardPaths>

namespace murlo {

namespace {

const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString interface = QStringLiteral("org.freedesktop.portal.Settings");
constexpr int callLimitMilliseconds = 5000;

struct Preference {
    QString area;
    QString key;
};

const Preference gnome{QStringLiteral("org.gnome.desktop.interface"),
                       QStringLiteral("enable-animations")};
const Preference kde{QStringLiteral("org.kde.kdeglobals.KDE"),
                     QStringLiteral("AnimationDurationFactor")};
const Preference common{QStringLiteral("org.freedesktop.appearance"),
                        QStringLiteral("reduced-motion")};

bool gtkFileReduces() {
    const QString file = QStandardPaths::locate(QStandardPaths::GenericConfigLocation,
                                                QStringLiteral("gtk-3.0/settings.ini"));
    if (file.isEmpty()) return false;
    const QSettings settings(file, QSettings::IniFormat);
    return !settings.value(QStringLiteral("Settings/gtk-enable-animations"), true).toBool();
}

} // namespace

MotionPreference::MotionPreference()
    : m_reduced(gtkFileReduces()) {
    QDBusConnection::sessionBus().connect(service, path, interface,
                                          QStringLiteral("SettingChanged"), this,
                                          SLOT(settingChanged(QString, QString, QDBusVariant)));
    for (const Preference& preference : {gnome, kde, common}) ask(preference.area, preference.key);
}

void MotionPreference::ask(const QString& area, const QString& key) {
    QDBusMessage call =
        QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("Read"));
    call << area << key;
    auto* watcher = new QDBusPendingCallWatcher(
        QDBusConnection::sessionBus().asyncCall(call, callLimitMilliseconds), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, area, key] {
        watcher->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *watcher;
        if (!reply.isValid()) return;
        QVariant value = reply.value().variant();
        // Older portals wrap the value twice.
        if (value.canConvert<QDBusVariant>()) value = value.value<QDBusVariant>().variant();
        takeUp(area, key, value);
    });
}

void MotionPreference::settingChanged(const QString& area, const QString& key,
                                      const QDBusVariant& value) {
    takeUp(area, key, value.variant());
}

void MotionPreference::takeUp(const QString& area, const QString& key, const QVariant& value) {
    bool reduced = m_reduced;
    if (area == gnome.area && key == gnome.key)
        reduced = !value.toBool();
    else if (area == kde.area && key == kde.key)
        reduced = value.toDouble() == 0;
    else if (area == common.area && key == common.key)
        reduced = value.toUInt() == 1;
    if (std::exchange(m_reduced, reduced) != reduced) Q_EMIT changed();
}

} // namespace murlo
