#pragma once

#include "platform/Port.h"

#include <QString>

#include <functional>
#include <tl/expected.hpp>

namespace murlo {

/// A key with modifiers, in virtual key codes and device-independent flag bits (Control 0x40000).
struct KeyChord {
    int keyCode = 0;
    quint32 flags = 0;
    bool operator==(const KeyChord&) const = default;
};

/// Why keys did not reach the focused program.
enum class KeyFailure {
    noAccess,   ///< the desktop does not allow it, or the connection to it was lost
    missingKey, ///< the keyboard has no key for it, nor a spare one to borrow
};
using KeyResult = tl::expected<void, KeyFailure>;

/// Key events as if typed by the user. Main thread. Modifiers and Caps Lock of the user do not
/// affect what is sent, and are restored afterwards.
class KeySynthesizer : public Port {
public:
    /// Whether the desktop lets key events be synthesized now. It does not need accessibility.
    [[nodiscard]] virtual bool canPostKeys() = 0;

    /// Presses and releases the chord. After a failure no key of it was sent.
    [[nodiscard]] virtual KeyResult postChord(const KeyChord& chord) = 0;

    /// Types `text` (whole characters, at most 16 UTF-16 units unless one character is longer) in
    /// any keyboard layout, without modifiers. `sent` is called once, on a later turn, once the
    /// events were sent to the focused program and the next text may follow, or with the reason why
    /// the text, or a part of it, was not typed.
    virtual void postText(const QString& text, std::function<void(const KeyResult&)> sent) = 0;

    /// No more text follows: borrowed key codes are returned once the focused program has processed
    /// the events.
    virtual void endText() = 0;
};

} // namespace murlo
