#include "dictation/delivery/TextInserter.h"

#include "MurloKit/TriggerKey.h"
#include "platform/Accessibility.h"
#include "platform/Applications.h"
#include "support/Log.h"
#include "targets/FocusVerdict.h"

#include <QTextBoundaryFinder>

namespace murlo {

namespace {

constexpr int chunkUnits = 16;       ///< UTF-16 units that one key event carries
constexpr double chunkPause = 0.004; ///< seconds between two typed chunks
constexpr double pasteLasts = 0.45;  ///< seconds until the clipboard is given back
/// Seconds for a program to notice a text on a clipboard that had none: some disable their paste
/// command until then.
constexpr double noticeTime = 0.08;
constexpr int keyV = 9;
constexpr int keyInsert = 114;

KeyChord chordOf(PasteWay way) {
    switch (way) {
    case PasteWay::controlShiftV:
        return {keyV, ModifierFlag::control | ModifierFlag::shift};
    case PasteWay::shiftInsert:
        return {keyInsert, ModifierFlag::shift};
    case PasteWay::controlV:
    case PasteWay::typing:
        break;
    }
    return {keyV, ModifierFlag::control};
}

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

TextInserter::TextInserter(const Partners& partners)
    : m_with(partners)
    , m_table(partners.settings)
    , m_clipboard(partners.pasteboard) {}

void TextInserter::insert(const QString& text, InsertMode mode, std::shared_ptr<void> prepared,
                          Done done) {
    if (text.isEmpty()) {
        done(Message(Word::nothingTranscribed));
        return;
    }
    const auto copy = [&](Word message) {
        enqueue({Way::copy, text, {}, std::move(done), {}, Message(message)});
    };
    if (mode == InsertMode::clipboardOnly) return copy(Word::copyOnly);
    if (!m_with.keys.canPostKeys()) return copy(Word::noKeys);
    const auto focus = focusVerdict(m_with.accessibility);
    if (focus && !focus->editable) return copy(Word::noTextBox);
    const PasteWay way = mode == InsertMode::type ? PasteWay::typing : pasteWay();
    enqueue({way == PasteWay::typing ? Way::type : Way::paste, text, std::move(prepared),
             std::move(done), chordOf(way)});
}

bool TextInserter::focusIsTerminal() const {
    const Accessibility& accessibility = m_with.accessibility;
    const ElementRef focused = accessibility.isTrusted() ? accessibility.focusedElement() : nullptr;
    return focused && focused->facts().subrole == ElementSubrole::terminal;
}

PasteWay TextInserter::pasteWay() const {
    return m_table.wayOf(m_with.applications.focusedProgram(), focusIsTerminal());
}

bool TextInserter::goesIntoTerminal() const {
    return focusIsTerminal() || PasteTable::isTerminal(m_with.applications.focusedProgram());
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
    switch (m_queue.front().way) {
    case Way::copy:
        m_with.pasteboard.setString(m_queue.front().text);
        tell(m_queue.front().outcome);
        finish();
        break;
    case Way::paste:
        paste();
        break;
    case Way::type:
        type();
        break;
    }
}

void TextInserter::tell(const Outcome& outcome) {
    // Moved out first, because the callback may insert the next text.
    if (const Done done = std::exchange(m_queue.front().done, nullptr)) done(outcome);
}

void TextInserter::copyInstead() {
    Log::write(QStringLiteral("insert: the keys could not be sent, the text is copied"));
    m_with.pasteboard.setString(m_queue.front().text);
    m_clipboard.giveBack(); // ends the loan only: the new content belongs to the user
    tell(Message(Word::noKeys));
    finish();
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

void TextInserter::paste() {
    if (m_clipboard.lend(m_queue.front().text)) {
        pressPaste();
        return;
    }
    m_step = m_with.scheduler.after(noticeTime, [this] { pressPaste(); });
}

void TextInserter::pressPaste() {
    const KeyResult sent = m_with.keys.postChord(m_queue.front().chord);
    if (!sent) {
        if (sent.error() == KeyFailure::missingKey)
            type(); // no key of the chord was sent
        else
            copyInstead();
        return;
    }
    tell(std::nullopt);
    finishPaste();
}

void TextInserter::finishPaste() {
    // The focused program reads the clipboard asynchronously.
    m_step = m_with.scheduler.after(pasteLasts, [this] {
        m_clipboard.giveBack();
        finish();
    });
}

void TextInserter::type() {
    m_chunks = typingChunks(m_queue.front().text);
    typeNext();
}

void TextInserter::typeNext() {
    if (m_chunks.isEmpty()) {
        const bool lent = m_queue.front().way == Way::paste;
        m_with.keys.endText();
        tell(std::nullopt);
        lent ? finishPaste() : finish();
        return;
    }
    m_with.keys.postText(m_chunks.takeFirst(), m_lifetime.guard([this](const KeyResult& sent) {
        if (!sent) {
            m_with.keys.endText();
            copyInstead();
            return;
        }
        m_step = m_with.scheduler.after(chunkPause, [this] { typeNext(); });
    }));
}

} // namespace murlo
