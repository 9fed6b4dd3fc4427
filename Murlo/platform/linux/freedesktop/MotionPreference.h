#pragma once

#include <QDBusVariant>
#include <QObject>

namespace murlo {

/// Whether the user wants animations: what the desktop's settings portal says (GNOME's switch,
/// KDE's animation speed, the common one for contrast and motion), else GTK's settings file. Until
/// the portal has answered, what the file says. Main thread.
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
