#include "platform/linux/x11/typing/X11KeySynthesizer.h"

#include "support/Log.h"

#include <QList>

#include <xcb/xtest.h>

namespace murlo {

namespace {

/// Timeout for a ping: a program that answers has processed its keys; one that is busy for longer
/// counts as if it had.
constexpr std::chrono::milliseconds answerLimit{2000};
constexpr int insertKeyCode = 114;

} // namespace

X11KeySynthesizer::X11KeySynthesizer(std::shared_ptr<SyntheticKeys> synthetic)
    : m_synthetic(std::move(synthetic))
    , m_watch(m_connection)
    , m_lift(m_connection, *m_synthetic)
    , m_borrowed(m_connection)
    , m_ping(m_connection)
    , m_quiet([this] { taken(m_batch); }) {
    if (!InputDevices::prepare(m_connection)) return;
    m_available = m_connection.extension(xcb_test_id) != nullptr;
    if (!m_available) return;
    m_watch.isOwnChange = [this](xcb_keycode_t keycode) { return m_borrowed.owns(keycode); };
    updateMap();
    m_borrowed.giveBack(); // left over from a run that crashed
    m_limit.setSingleShot(true);
    m_limit.setTimerType(Qt::PreciseTimer);
    QObject::connect(&m_limit, &QTimer::timeout, &m_limit, [this] { taken(m_batch); });
    m_notifier =
        std::make_unique<QSocketNotifier>(m_connection.descriptor(), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                     [this] { readEvents(); });
}

X11KeySynthesizer::~X11KeySynthesizer() {
    m_lift.restore();
    m_borrowed.giveBack();
    m_connection.sync();
}

bool X11KeySynthesizer::canPostKeys() {
    if (!m_available || !m_connection.isAlive()) return false;
    readEvents();
    updateMap();
    m_watch.refresh();
    return m_map.has_value() && m_connection.isAlive();
}

KeyResult X11KeySynthesizer::carriedOut() const {
    m_connection.sync();
    if (m_connection.isAlive()) return {};
    return tl::unexpected(KeyFailure::noAccess);
}

std::optional<xcb_keycode_t> X11KeySynthesizer::modifierKey(xkb_keysym_t left,
                                                            xkb_keysym_t right) const {
    const int group = m_watch.group();
    const auto key = m_map->keyTyping(left, group);
    return key ? key : m_map->keyTyping(right, group);
}

void X11KeySynthesizer::updateMap() {
    if (m_watch.update(m_map)) m_borrowed.adopt(*m_map);
}

void X11KeySynthesizer::readEvents() {
    const quint64 before = m_taken;
    while (const auto event = m_connection.nextEvent()) {
        if (m_watch.handle(*event)) continue;
        if (const auto number = m_ping.answered(*event)) {
            // A ping carries the low 24 bits of the batch number.
            const quint64 batch = m_batch - ((m_batch - *number) & 0xffffff);
            m_taken = std::max(m_taken, batch);
        } else {
            m_lift.handle(*event);
        }
    }
    if (!m_connection.isAlive() && m_notifier->isEnabled()) {
        m_notifier->setEnabled(false);
        Log::write(QStringLiteral("insert: the connection to the display is lost"));
    }
    if (m_taken != before) taken(m_taken);
}

std::optional<xcb_keycode_t> X11KeySynthesizer::keyOf(const KeyChord& chord) {
    // The symbol decides, not the place: programs look shortcuts up by what the key types in any of
    // the layouts. Where none of them has the symbol, a borrowed key does.
    xkb_keysym_t symbol = XKB_KEY_NoSymbol;
    if (const char letter = usCharacter(chord.keyCode))
        symbol = xkb_utf32_to_keysym(static_cast<char32_t>(letter));
    else if (chord.keyCode == insertKeyCode)
        symbol = XKB_KEY_Insert;
    if (symbol == XKB_KEY_NoSymbol) return m_map->keyAt(chord.keyCode);
    if (const auto inLayout = m_map->keyForShortcut(symbol, m_watch.group())) return inLayout;
    if (!m_borrowed.map({symbol}, m_batch + 1, m_taken)) return std::nullopt;
    ++m_batch;
    return m_borrowed.keyOf(symbol);
}

KeyResult X11KeySynthesizer::postChord(const KeyChord& chord) {
    if (!canPostKeys()) return tl::unexpected(KeyFailure::noAccess);
    std::vector<xcb_keycode_t> modifiers;
    bool complete = true;
    const auto hold = [&](quint32 flag, xkb_keysym_t left, xkb_keysym_t right) {
        if (!(chord.flags & flag)) return;
        const auto found = modifierKey(left, right);
        complete = complete && found;
        if (found) modifiers.push_back(*found);
    };
    hold(ModifierFlag::control, XKB_KEY_Control_L, XKB_KEY_Control_R);
    hold(ModifierFlag::shift, XKB_KEY_Shift_L, XKB_KEY_Shift_R);
    hold(ModifierFlag::option, XKB_KEY_Alt_L, XKB_KEY_Alt_R);
    hold(ModifierFlag::command, XKB_KEY_Super_L, XKB_KEY_Super_R);
    // Without its modifier a chord would be a letter.
    const auto key = complete ? keyOf(chord) : std::nullopt;
    if (!key) {
        Log::write(QStringLiteral("insert: this keyboard layout lacks a key of the shortcut"));
        return tl::unexpected(KeyFailure::missingKey);
    }
    m_lift.lift(*m_map, m_borrowed.neutral());
    for (const xcb_keycode_t modifier : modifiers) press(modifier, true);
    press(*key, true);
    press(*key, false);
    for (auto at = modifiers.rbegin(); at != modifiers.rend(); ++at) press(*at, false);
    if (m_chunks.empty()) m_lift.restore();
    if (m_borrowed.isBorrowing()) {
        m_ending = true;
        awaitTaken();
    }
    return carriedOut();
}

void X11KeySynthesizer::postText(const QString& text, std::function<void(const KeyResult&)> sent) {
    m_ending = false;
    m_chunks.push_back({text, std::move(sent), {}});
    pump();
}

void X11KeySynthesizer::endText() {
    m_ending = true;
    pump();
}

void X11KeySynthesizer::pump() {
    while (!m_chunks.empty()) {
        KeyResult result = tl::unexpected(KeyFailure::noAccess);
        if (m_connection.isAlive()) {
            const auto sent = send(m_chunks.front().text);
            if (!sent) return; // pump() is called again when keys are taken
            result = *sent;
        }
        Chunk chunk = std::move(m_chunks.front());
        m_chunks.pop_front();
        if (!chunk.soFar) result = chunk.soFar;
        if (chunk.sent)
            QTimer::singleShot(0, &m_limit,
                               [sent = std::move(chunk.sent), result] { sent(result); });
        else if (!m_chunks.empty()) // the first half of the next chunk
            m_chunks.front().soFar = result;
    }
    if (!m_ending || !m_connection.isAlive()) return;
    m_lift.restore();
    if (m_taken < m_batch) return;
    m_ending = false;
    m_borrowed.giveBack();
    m_ping.stop();
}

std::optional<KeyResult> X11KeySynthesizer::send(const QString& text) {
    updateMap();
    m_watch.refresh();
    if (!m_map) return tl::unexpected(KeyFailure::noAccess);
    std::vector<Stroke> all = strokes(text);
    std::vector<xkb_keysym_t> borrowed;
    for (const Stroke& stroke : all) {
        if (!stroke.key) borrowed.push_back(stroke.symbol);
    }
    if (!borrowed.empty() && !m_borrowed.map(borrowed, m_batch + 1, m_taken)) {
        if (m_taken != m_batch) return std::nullopt; // wait until codes become free
        return sendHalf(text);
    }
    for (Stroke& stroke : all) {
        if (!stroke.key) stroke.key = m_borrowed.keyOf(stroke.symbol);
    }
    post(all);
    ++m_batch;
    if (borrowed.empty() && m_taken + 1 == m_batch)
        m_taken = m_batch; // no borrowed key, so no need to wait
    else
        awaitTaken();
    return carriedOut();
}

std::optional<KeyResult> X11KeySynthesizer::sendHalf(const QString& text) {
    // A single long character (grapheme cluster) may need more codes than exist: split it.
    if (text.size() < 2) return tl::unexpected(KeyFailure::missingKey);
    const qsizetype half = text.size() / 2;
    const qsizetype cut = text.at(half).isLowSurrogate() ? half - 1 : half;
    if (cut < 1) return tl::unexpected(KeyFailure::missingKey);
    // The second half is sent next and keeps the `sent` callback of the whole.
    m_chunks.push_front({text.left(cut), {}, m_chunks.front().soFar});
    m_chunks[1].text = text.mid(cut);
    return send(m_chunks.front().text);
}

void X11KeySynthesizer::post(const std::vector<Stroke>& strokes) {
    m_lift.lift(*m_map, m_borrowed.neutral());
    std::optional<xcb_keycode_t> shift; // held over strokes that need it
    for (const Stroke& stroke : strokes) {
        if (stroke.shift && stroke.shift != shift) press(*stroke.shift, true);
        if (shift && stroke.shift != shift) press(*shift, false);
        shift = stroke.shift;
        press(*stroke.key, true);
        press(*stroke.key, false);
    }
    if (shift) press(*shift, false);
}

std::vector<X11KeySynthesizer::Stroke> X11KeySynthesizer::strokes(const QString& text) const {
    std::vector<Stroke> all;
    const int group = m_watch.group();
    const auto shift = m_map->keyTyping(XKB_KEY_Shift_L, group);
    char32_t before = 0;
    for (const char32_t character : text.toUcs4()) {
        const bool endOfCrLf = character == '\n' && before == '\r';
        before = character;
        if (endOfCrLf) continue;
        xkb_keysym_t symbol = xkb_utf32_to_keysym(character);
        if (character == '\n' || character == '\r')
            symbol = XKB_KEY_Return;
        else if (character == '\t')
            symbol = XKB_KEY_Tab;
        else if (character < 0x20 || character == 0x7f)
            continue; // control characters
        if (symbol == XKB_KEY_NoSymbol) continue;
        // Prefer the layout's own keys: every change of the map makes all programs read it again,
        // and programs that forward key codes (virtual machines, remote desktops) know real keys
        // only.
        Stroke stroke{symbol, m_map->keyTyping(symbol, group), {}};
        if (!stroke.key && shift) {
            stroke.key = m_map->keyTyping(symbol, group, true);
            if (stroke.key) stroke.shift = shift;
        }
        all.push_back(stroke);
    }
    return all;
}

void X11KeySynthesizer::awaitTaken() {
    if (m_ping.send(static_cast<quint32>(m_batch)))
        m_limit.start(answerLimit);
    else
        m_quiet.watch(m_ping.focusedPid());
}

void X11KeySynthesizer::taken(quint64 batch) {
    m_taken = std::max(m_taken, batch);
    if (m_taken == m_batch) {
        m_limit.stop();
        m_quiet.stop();
    }
    pump();
}

} // namespace murlo
