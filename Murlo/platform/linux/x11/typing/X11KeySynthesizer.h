#pragma once

#include "platform/KeySynthesizer.h"
#include "platform/linux/processes/QuietProcess.h"
#include "platform/linux/x11/keys/SyntheticKeys.h"
#include "platform/linux/x11/typing/BorrowedKeys.h"
#include "platform/linux/x11/typing/ModifierLift.h"
#include "platform/linux/x11/windows/FocusPing.h"

#include <QSocketNotifier>
#include <QTimer>

#include <deque>

namespace murlo {

/// `KeySynthesizer` on the X server's test extension.
class X11KeySynthesizer : public KeySynthesizer {
public:
    /// `synthetic` is shared with the event tap.
    explicit X11KeySynthesizer(std::shared_ptr<SyntheticKeys> synthetic);
    /// Returns the key codes that are still borrowed.
    ~X11KeySynthesizer() override;

    [[nodiscard]] bool canPostKeys() override;
    [[nodiscard]] KeyResult postChord(const KeyChord& chord) override;
    void postText(const QString& text, std::function<void(const KeyResult&)> sent) override;
    void endText() override;

private:
    struct Chunk {
        QString text;
        std::function<void(const KeyResult&)> sent;
        KeyResult soFar; ///< result of its parts sent so far
    };
    struct Stroke {
        xkb_keysym_t symbol;
        std::optional<xcb_keycode_t> key;   ///< of the layout; empty for a borrowed key
        std::optional<xcb_keycode_t> shift; ///< the Shift key that the layout's key needs
    };

    void updateMap();
    /// The left-hand key of a modifier, else the right-hand one.
    [[nodiscard]] std::optional<xcb_keycode_t> modifierKey(xkb_keysym_t left,
                                                           xkb_keysym_t right) const;
    /// The key for a chord; a borrowed one if the keyboard has none.
    [[nodiscard]] std::optional<xcb_keycode_t> keyOf(const KeyChord& chord);
    void readEvents();
    void pump();
    /// Empty while the text has to wait for free key codes.
    [[nodiscard]] std::optional<KeyResult> send(const QString& text);
    [[nodiscard]] std::optional<KeyResult> sendHalf(const QString& text);
    void post(const std::vector<Stroke>& strokes);
    [[nodiscard]] KeyResult carriedOut() const;
    [[nodiscard]] std::vector<Stroke> strokes(const QString& text) const;
    void awaitTaken();
    void taken(quint64 batch);
    void press(xcb_keycode_t key, bool down) { m_synthetic->post(m_connection, key, down); }

    std::shared_ptr<SyntheticKeys> m_synthetic;
    XcbConnection m_connection;
    bool m_available = false;
    KeyboardWatch m_watch;
    std::optional<KeyboardMap> m_map;
    ModifierLift m_lift;
    BorrowedKeys m_borrowed;
    FocusPing m_ping;

    std::deque<Chunk> m_chunks;
    bool m_ending = false;
    quint64 m_batch = 0;  ///< last batch posted
    quint64 m_taken = 0;  ///< last batch that the focused program has taken
    QTimer m_limit;       ///< timeout after which pending events count as taken
    QuietProcess m_quiet; ///< the same for programs that do not answer pings
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace murlo
