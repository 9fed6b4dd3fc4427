#pragma once

#include "MurloKit/InsertMode.h"
#include "MurloKit/Message.h"
#include "MurloKit/PasteWay.h"
#include "dictation/delivery/PasteTable.h"
#include "dictation/delivery/PasteboardRestore.h"
#include "platform/KeySynthesizer.h"
#include "platform/Scheduler.h"

#include <QString>
#include <QStringList>

#include <deque>
#include <functional>
#include <optional>

namespace murlo {

class Accessibility;
class Applications;

/// Splits a text into chunks of whole characters with at most 16 UTF-16 units each; a longer
/// character is a chunk of its own.
[[nodiscard]] QStringList typingChunks(const QString& text);

/// Delivers a finished text into whatever the user is working in: pasted, typed, or left on the
/// clipboard. Insertions are carried out one after another; a paste ends when the clipboard has
/// been given back. Main thread; nothing blocks.
class TextInserter {
public:
    /// Empty when the text was pasted or typed; otherwise the message that tells the user where it
    /// is.
    using Outcome = std::optional<Message>;
    using Done = std::function<void(const Outcome&)>;

    struct Partners {
        Scheduler& scheduler;
        const Accessibility& accessibility;
        const Applications& applications;
        Pasteboard& pasteboard;
        KeySynthesizer& keys;
        const Settings& settings; ///< for the user's own rows of the paste table
    };
    explicit TextInserter(const Partners& partners);

    /// Keeps the clipboard read until the returned handle is destroyed: hold it from the beginning
    /// of a dictation until its `insert` or its cancellation.
    [[nodiscard]] std::shared_ptr<void> prepare() { return m_clipboard.prepare(); }

    /// Decides at once, from the present focus and permissions, how the text is delivered and
    /// delivers it, or queues it behind an insertion still under way. `done` is called once, during
    /// the call or later, when its keys are sent; if that failed, the text is on the clipboard.
    /// `prepared` comes from `prepare`; without it, the clipboard is read only now.
    void insert(const QString& text, InsertMode mode, std::shared_ptr<void> prepared, Done done);

    /// Whether what is inserted now would go into a terminal, where a line feed runs a command.
    [[nodiscard]] bool goesIntoTerminal() const;

    /// Calls back once no insertion is under way or queued: at once if that is so now. Before the
    /// focus is moved, wait for this: it keeps the rest of a text from going into the next box.
    void whenIdle(std::function<void()> idle);

private:
    enum class Way { copy, paste, type };
    struct Insertion {
        Way way;
        QString text;
        std::shared_ptr<void> prepared;
        Done done;
        KeyChord chord = {}; ///< that pastes
        Outcome outcome = {};
    };

    void enqueue(Insertion insertion);
    [[nodiscard]] bool focusIsTerminal() const;
    [[nodiscard]] PasteWay pasteWay() const;
    void start();
    void finish();
    void copyInstead();
    void tell(const Outcome& outcome);
    void paste();
    void pressPaste();
    void finishPaste();
    void type();
    void typeNext();

    Partners m_with;
    PasteTable m_table;
    PasteboardRestore m_clipboard;
    std::deque<Insertion> m_queue; ///< the first is under way while `m_busy`
    QStringList m_chunks;          ///< still to be typed of the insertion under way
    bool m_busy = false;
    std::deque<std::function<void()>> m_waiting;
    ScheduledWork m_step;
    Lifetime m_lifetime;
};

} // namespace murlo
