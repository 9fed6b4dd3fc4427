#include "platform/linux/x11/X11KeySynthesizer.h"

#include "support/Log.h"

#include <QList>

#include <xcb/xtest.h>

namespace murlo {

namespace {

/// A program that answers pings has taken its keys when it answers. One that is busy for longer
/// than this is not waited for.
constexpr std::chrono::milliseconds answerLimit{2000};
} // namespace

X11KeySynthesizer::X11KeySynthesizer(std::shared_ptr<SyntheticKeys> synthetic,
                                     std::function<bool()> targetIsTerminal,
                                     std::function<bool()> targetOnlyTypes)
    : m_synthetic(std::move(synthetic))
    , m_targetIsTerminal(std::move(targetIsTerminal))
    , m_targetOnlyTypes(std::move(targetOnlyTypes))
    , m_watch(m_connection)
    , m_lift(m_connection, *m_synthetic)
    , m_borrowed(m_connection)
    , m_ping(m_connection)
    , m_quiet([this] { taken(m_batch); }) {
    if (!InputDevices::prepare(m_connection)) return;
    const auto* test = xcb_get_extension_data(m_connection, &xcb_test_id);
    m_available = test && test->present;
    if (!m_available) return;
    m_watch.isOwnChange = [this](xcb_keycode_t keycode) { return m_borrowed.owns(keycode); };
    updateMap();
    m_borrowed.giveBack(); // of a run that ended too early to do it
    m_limit.setSingleShot(true);
    QObject::connect(&m_limit, &QTimer::timeout, &m_limit, [this] { taken(m_batch); });
    m_notifier = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(m_connection),
                                                   QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                     [this] { readEvents(); });
}

X11KeySynthesizer::~X11KeySynthesizer() {
    m_lift.restore();
    m_borrowed.giveBack();
    m_connection.sync();
}

bool X11KeySynthesizer::isAvailable() {
    if (!m_available || !m_connection.isAlive()) return false;
    readEvents();
    updateMap();
    m_watch.refresh();
    // Without Control a paste would be a letter.
    return m_map && modifierKey(XKB_KEY_Control_L, XKB_KEY_Control_R);
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
            // The number is the low end of the batch's.
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

void X11KeySynthesizer::postChord(const KeyChord& chord) {
    if (!isAvailable()) return;
    const int group = m_watch.group();

    std::vector<xcb_keycode_t> modifiers;
    bool complete = true;
    const auto hold = [&](xkb_keysym_t left, xkb_keysym_t right) {
        const auto found = modifierKey(left, right);
        complete = complete && found;
        if (found) modifiers.push_back(*found);
    };
    const bool paste = chord.flags & ModifierFlag::command;
    if (paste || (chord.flags & ModifierFlag::control)) hold(XKB_KEY_Control_L, XKB_KEY_Control_R);
    if ((paste && m_targetIsTerminal()) || (chord.flags & ModifierFlag::shift))
        hold(XKB_KEY_Shift_L, XKB_KEY_Shift_R);
    if (chord.flags & ModifierFlag::option) hold(XKB_KEY_Alt_L, XKB_KEY_Alt_R);

    // The letter decides, not the place: programs look shortcuts up by what the key types in any of
    // the layouts. Where none of them has the letter, a borrowed key does.
    std::optional<xcb_keycode_t> key = m_map->keyAt(chord.keyCode);
    if (const char letter = usCharacter(chord.keyCode)) {
        const auto symbol = xkb_utf32_to_keysym(static_cast<char32_t>(letter));
        if (const auto inLayout = m_map->keyForShortcut(symbol, group)) {
            key = inLayout;
        } else if (m_borrowed.map({symbol}, m_batch + 1, m_taken)) {
            key = m_borrowed.keyOf(symbol);
            ++m_batch;
        }
    }
    if (!key || !complete) {
        Log::write(QStringLiteral("insert: this keyboard layout lacks a key of the shortcut"));
        return;
    }
    m_lift.lift(*m_map, m_borrowed.neutral());
    for (const xcb_keycode_t modifier : modifiers) press(modifier, true);
    press(*key, true);
    press(*key, false);
    for (auto at = modifiers.rbegin(); at != modifiers.rend(); ++at) press(*at, false);
    if (m_chunks.empty()) m_lift.restore();
    xcb_flush(m_connection);
    if (m_borrowed.isBorrowing()) {
        m_ending = true;
        awaitTaken();
    }
}

void X11KeySynthesizer::postText(const QString& text, std::function<void()> sent) {
    m_ending = false;
    m_chunks.push_back({text, std::move(sent)});
    pump();
}

void X11KeySynthesizer::endText() {
    m_ending = true;
    pump();
}

void X11KeySynthesizer::pump() {
    while (!m_chunks.empty()) {
        if (m_connection.isAlive() && !send(m_chunks.front().text)) return; // `taken` goes on
        auto sent = std::move(m_chunks.front().sent);
        m_chunks.pop_front();
        if (sent) QTimer::singleShot(0, &m_limit, std::move(sent));
    }
    if (!m_ending || !m_connection.isAlive()) return;
    m_lift.restore();
    if (m_taken < m_batch) return;
    m_ending = false;
    m_borrowed.giveBack();
    m_ping.stop();
}

bool X11KeySynthesizer::send(const QString& text) {
    updateMap();
    m_watch.refresh();
    if (!m_map) return true;
    const std::vector<Stroke> all = strokes(text);
    std::vector<xkb_keysym_t> borrowed;
    for (const Stroke& stroke : all) {
        if (!stroke.key) borrowed.push_back(stroke.symbol);
    }
    // One long character may need more codes than there are: it goes in parts, then.
    if (!borrowed.empty() && !m_borrowed.map(borrowed, m_batch + 1, m_taken)) {
        if (m_taken == m_batch && text.size() > 1) {
            const qsizetype half = text.size() / 2;
            const qsizetype cut = text.at(half).isLowSurrogate() ? half - 1 : half;
            // The rest goes next, and its `sent` is the whole's.
            m_chunks.insert(m_chunks.begin(), {text.left(cut), {}});
            m_chunks[1].text = text.mid(cut);
            return send(m_chunks.front().text);
        }
        return m_taken == m_batch;
    }
    m_lift.lift(*m_map, m_borrowed.neutral());
    std::optional<xcb_keycode_t> shift; // held over strokes that need it
    for (const Stroke& stroke : all) {
        const auto key = stroke.key ? stroke.key : m_borrowed.keyOf(stroke.symbol);
        if (!key) continue;
        if (stroke.shift && stroke.shift != shift) press(*stroke.shift, true);
        if (shift && stroke.shift != shift) press(*shift, false);
        shift = stroke.shift;
        press(*key, true);
        press(*key, false);
    }
    if (shift) press(*shift, false);
    ++m_batch;
    if (borrowed.empty() && m_taken + 1 == m_batch)
        m_taken = m_batch; // nothing depends on it
    else
        awaitTaken();
    m_connection.sync();
    return true;
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
            continue; // keys that do things
        if (symbol == XKB_KEY_NoSymbol) continue;
        // The layout's own keys as far as they go: every change of the map makes all programs read
        // it again, and programs that pass on key codes (virtual machines, remote desktops) know
        // real keys only.
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
