#include "dictation/TextInserter.h"

#include "MurloKit/TriggerKey.h"
#include "dictation/InsertionTexts.h"
#include "platform/Accessibility.h"
#include "platform/KeySynthesizer.h"
#include "triggers/FocusVerdict.h"

#include <QTextBoundaryFinder>

namespace murlo {

namespace {

constexpr int chunkUnits = 16;       ///< UTF-16 units that one key event carries
constexpr double chunkPause = 0.004; ///< seconds between two typed chunks
constexpr double pasteLasts = 0.45;  ///< seconds until the clipboard is given back
constexpr KeyChord pasteChord{9, ModifierFlag::command}; // V

} // namespace

QStringList typingChunks(const QString& text) {
    QStringList chunks;
    QString chunk;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype begin = 0;
    for (qsizetype end = finder.toNextBoundary(); end >= 0; end = finder.toNextBoundary()) {
        const auto character = QStringView(text).mid(begin, end - begin);
        begin = end;
        if (!chunk.isEmpty() && chunk.size() + character.size() > chunkUnits) {
            chunks.append(chunk);
            chunk.clear();
        }
        chunk.append(character);
    }
    if (!chunk.isEmpty()) chunks.append(chunk);
    return chunks;
}

TextInserter::TextInserter(Scheduler& scheduler, const Accessibility& accessibility,
                           Pasteboard& pasteboard, KeySynthesizer& keys)
    : m_scheduler(scheduler)
    , m_accessibility(accessibility)
    , m_pasteboard(pasteboard)
    , m_keys(keys)
    , m_clipboard(pasteboard) {}

TextInserter::Outcome TextInserter::insert(const QString& text, InsertMode mode,
                                           std::shared_ptr<void> prepared) {
    if (text.isEmpty()) return InsertionTexts::nothingTranscribed;
    const auto copy = [&](const QString& message) {
        enqueue({Way::copy, text, {}});
        return message;
    };
    if (mode == InsertMode::clipboardOnly) return copy(InsertionTexts::copyOnly);
    // Without synthesized keys a text would be lost; the permission covers both.
    if (!m_accessibility.isTrusted() || !m_keys.isAvailable())
        return copy(InsertionTexts::noAccess);
    const auto focus = focusVerdict(m_accessibility);
    if (focus && !focus->editable) return copy(InsertionTexts::noTextBox);
    const bool types = mode == InsertMode::type || !m_keys.canPaste();
    enqueue({types ? Way::type : Way::paste, text, std::move(prepared)});
    return std::nullopt;
}

void TextInserter::whenIdle(std::function<void()> idle) {
    if (m_busy)
        m_waiting.push_back(std::move(idle));
    else
        idle();
}

void TextInserter::enqueue(Insertion insertion) {
    m_queue.push_back(std::move(insertion));
    if (!m_busy) start();
}

void TextInserter::start() {
    m_busy = true;
    const Insertion& insertion = m_queue.front();
    switch (insertion.way) {
    case Way::copy:
        m_pasteboard.setString(insertion.text);
        finish();
        break;
    case Way::paste:
        paste(insertion.text);
        break;
    case Way::type:
        m_chunks = typingChunks(insertion.text);
        typeNext();
        break;
    }
}

void TextInserter::finish() {
    m_queue.pop_front();
    if (!m_queue.empty()) {
        start();
        return;
    }
    m_busy = false;
    while (!m_busy && !m_waiting.empty()) {
        const auto idle = std::move(m_waiting.front());
        m_waiting.pop_front();
        idle();
    }
}

void TextInserter::paste(const QString& text) {
    m_clipboard.lend(text);
    m_keys.postChord(pasteChord);
    // The focused program reads the clipboard in its own time.
    m_step = m_scheduler.after(pasteLasts, [this] {
        m_clipboard.giveBack();
        finish();
    });
}

void TextInserter::typeNext() {
    if (m_chunks.isEmpty()) {
        m_keys.endText();
        finish();
        return;
    }
    m_keys.postText(m_chunks.takeFirst(), m_lifetime.guard([this] {
        m_step = m_scheduler.after(chunkPause, [this] { typeNext(); });
    }));
}

} // namespace murlo
