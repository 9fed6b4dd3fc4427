#pragma once

#include <QDBusVariant>
#include <QObject>

namespace murlo {

/// Whether the user wants animations: from the desktop's settings portal (GNOME's switch, KDE's
/// animation speed, the common "reduced motion" setting), else, and until the portal has answered,
/// from GTK's settings file. Main thread.
class MotionPreference : public QObject {
    Q_OBJECT

public:
    MotionPreference();

    [[nodiscard]] bool isReduced() const { return m_reduced; }

Q_SIGNALS:
    void changed();

private Q_SLOTS:
    void settingChanged(const QString& area, const QString& key, const QDBusVariant& value);

private:
    void ask(const QString& area, const QString& key);
    void takeUp(const QString& area, const QString& key, const QVariant& value);

    bool m_reduced = false;
};

} // namespace murlo
