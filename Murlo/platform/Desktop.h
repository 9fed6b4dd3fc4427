#pragma once

#include <QObject>
#include <QString>
#include <QtGlobal>

#include <functional>

namespace murlo {

/// What the desktop's user has set, and what the desktop does for its programs. Main thread;
/// answers at once, from what is known.
class Desktop : public QObject {
    Q_OBJECT

public:
    /// Whether the user has switched animations off or asked for less motion.
    [[nodiscard]] virtual bool reducesMotion() const = 0;

    /// Calls `there` once, as soon as the desktop is known to have a tray: during the call if it
    /// already is, never where no tray comes. One that is restarted is not told again.
    virtual void awaitTray(std::function<void()> there) = 0;

    /// Opens a file, by its full path, or an address ("https://…") with the program that the user
    /// has chosen for its kind, and tells on a later turn whether that worked: not when there is
    /// none or the file is missing.
    virtual void open(const QString& target, std::function<void(bool)> done) = 0;

Q_SIGNALS:
    /// `reducesMotion` has changed.
    void changed();
};

} // namespace murlo
