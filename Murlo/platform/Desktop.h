#pragma once

#include <QObject>
#include <QString>
#include <QtGlobal>

#include <functional>

namespace murlo {

/// Desktop settings and services. Main thread; getters return cached values and never block.
class Desktop : public QObject {
    Q_OBJECT

public:
    /// Whether the user has switched animations off or asked for less motion.
    [[nodiscard]] virtual bool reducesMotion() const = 0;

    /// Calls `there` once, as soon as the desktop is known to have a tray: during the call if it
    /// already is, never if there is none. Not called again when the tray restarts.
    virtual void awaitTray(std::function<void()> there) = 0;

    /// Opens a file, by its full path, or an address ("https://…") with the program that the user
    /// has chosen for its kind, and reports on a later turn whether that worked: false when there
    /// is none or the file is missing.
    virtual void open(const QString& target, std::function<void(bool)> done) = 0;

Q_SIGNALS:
    /// `reducesMotion` has changed.
    void changed();
};

} // namespace murlo
