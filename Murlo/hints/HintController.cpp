#include "hints/HintController.h"

#include "hints/InputScanner.h"
#include "platform/Accessibility.h"
#include "support/Log.h"

namespace murlo {

namespace {

constexpr double expiry = 8; ///< seconds, the longest life of one activation
constexpr qint64 deleteKey = 51;
constexpr qint64 escapeKey = 53;

} // namespace

HintController::HintController(Scheduler& scheduler, Accessibility& accessibility,
                               InputTargets& targets, InputScanner& scanner,
                               Interruptions& interruptions, HintOverlay& overlay)
    : m_scheduler(scheduler)
    , m_accessibility(accessibility)
    , m_boxes(targets)
    , m_scanner(scanner)
    , m_interruptions(interruptions)
    , m_overlay(overlay) {
    m_interruptions.onInterruption = m_lifetime.guard([this] { cancel(); });
}

void HintController::status(const Message& message) const {
    if (onStatus) onStatus(message);
}

void HintController::setTyped(const QString& typed) {
    m_typed = typed;
    m_overlay.model().setTyped(typed);
}

void HintController::begin() {
    if (m_active) {
        cancel();
        return;
    }
    if (!m_accessibility.isTrusted()) {
        Log::write(QStringLiteral("hint: accessibility is off"));
        status(Word::accessibilityOff);
        return;
    }
    const ElementRef focused = m_accessibility.focusedElement();
    if (focused && focused->facts().subrole == ElementSubrole::secureTextField) {
        status(Word::passwordField);
        return;
    }
    m_active = true;
    m_typed.clear();
    m_safety = m_scheduler.after(expiry, [this] { cancel(); });
    if (onActiveChange) onActiveChange(true);
    m_interruptions.setWatching(true);
    if (!m_active) return; // cancelled meanwhile by an interruption
    m_scanner.scan(
        m_lifetime.guard([this](const QList<InputTarget>& targets) { scanned(targets); }));
}

void HintController::scanned(const QList<InputTarget>& targets) {
    if (targets.isEmpty()) {
        cancel();
        Message message = Word::noBoxesFound;
        for (const QString& name : m_scanner.silentApplications())
            message = message + Message(Word::silentApplication, {name});
        status(message);
        return;
    }
    m_targets = targets;
    m_overlay.show(m_targets);
}

bool HintController::handleKey(const QString& characters, qint64 keyCode) {
    if (!m_active) return false;
    if (keyCode == deleteKey) {
        setTyped(m_typed.chopped(std::min<qsizetype>(1, m_typed.size())));
        return true;
    }
    if (keyCode == escapeKey) {
        cancel();
        return true;
    }
    const QString upper = characters.toUpper();
    if (upper.isEmpty() || !upper.front().isLetter()) return true;
    const QString candidate = m_typed + upper.front();
    const InputTarget* match = nullptr;
    bool several = false;
    for (const InputTarget& target : m_targets) {
        if (!target.hint.startsWith(candidate)) continue;
        several = match != nullptr;
        match = &target;
        if (several) break;
    }
    if (!match) {
        setTyped({}); // a wrong letter starts over
    } else if (!several && match->hint == candidate) {
        pick(InputTarget(*match));
    } else {
        setTyped(candidate);
    }
    return true;
}

void HintController::cancel() {
    ++m_activation; // invalidates a pick whose box has not answered yet
    if (!m_active) return;
    m_active = false;
    m_typed.clear(); // the layer still shows them while it fades out
    m_targets.clear();
    m_safety.cancel();
    m_scanner.cancel();
    m_interruptions.setWatching(false);
    m_overlay.hide();
    if (onActiveChange) onActiveChange(false);
}

void HintController::pick(const InputTarget& target) {
    cancel();
    m_boxes.isAlive(target, m_lifetime.guard([this, target, picked = m_activation](bool alive) {
        if (picked != m_activation) return; // cancelled meanwhile
        if (!alive) {
            Log::write(QStringLiteral("hint: target vanished before pick"));
            status(Word::boxVanished);
            return;
        }
        Log::write(QStringLiteral("hint: picked %1 in %2").arg(target.hint, target.appName));
        if (onPick) onPick(target);
        whenIdle(m_lifetime.guard([this, target] { m_boxes.bringIntoFocus(target, [] {}); }));
    }));
}

} // namespace murlo
