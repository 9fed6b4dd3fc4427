#pragma once

#include <QString>

#include <functional>

namespace murlo {

/// A key with modifiers, in virtual key codes and device-independent flag bits (Command 0x100000).
struct KeyChord {
    int keyCode = 0;
    quint32 flags = 0;
};

/// Key events as if typed by the user. Main thread.
///
/// The Command chord of a paste is sent as this desktop's own: Ctrl+V, or Ctrl+Shift+V when the
/// focused program is a terminal. Modifiers and Caps Lock that the user holds neither change what
/// is sent nor stay lifted (or stuck) afterwards.
class KeySynthesizer {
public:
    KeySynthesizer() = default;
    KeySynthesizer(const KeySynthesizer&) = delete;
    KeySynthesizer& operator=(const KeySynthesizer&) = delete;
    virtual ~KeySynthesizer() = default;

    /// Whether events can be synthesized now. False leaves everything untouched.
    [[nodiscard]] virtual bool isAvailable() = 0;

    /// Whether the focused program takes a paste by a chord at all: old terminals do not.
    [[nodiscard]] virtual bool canPaste() = 0;

    /// Presses and releases the chord.
    virtual void postChord(const KeyChord& chord) = 0;

    /// Types `text` (whole characters, at most 16 UTF-16 units unless one character is longer) in
    /// any keyboard layout, without modifiers. `sent` is called on a later turn, once the next text
    /// may follow; not before the events have left for the focused program.
    virtual void postText(const QString& text, std::function<void()> sent) = 0;

    /// No more text follows: whatever was borrowed from the keyboard map is given back once the
    /// focused program has taken the events.
    virtual void endText() = 0;
};

} // namespace murlo
