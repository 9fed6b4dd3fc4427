#pragma once

#include "platform/linux/x11/XcbConnection.h"

#include <QObject>
#include <QSocketNotifier>

#include <memory>

namespace murlo {

/// Reports when a watched selection (compositor, tray) gains or loses its owner and when the
/// windows were restacked, on a connection of its own. Main thread.
class RootWatch : public QObject {
    Q_OBJECT

public:
    RootWatch();
    ~RootWatch() override;

    /// Starts to watch a selection; returns whether it has an owner.
    [[nodiscard]] bool follow(const QString& selection);

Q_SIGNALS:
    void ownerChanged(const QString& selection, bool owned);
    void restacked();

private:
    void readEvents();

    XcbConnection m_connection;
    xcb_atom_t m_stacking = XCB_ATOM_NONE;
    quint8 m_fixesEvent = 0; ///< 0 without the extension
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace murlo
