#pragma once

#include "platform/KeySynthesizer.h"
#include "platform/Scheduler.h"

#include <QList>
#include <QStringList>

namespace murlo {

/// Notes what would have been typed. `sent` comes on a later turn of the scheduler.
class FakeKeySynthesizer : public KeySynthesizer {
public:
    explicit FakeKeySynthesizer(Scheduler& scheduler)
        : m_scheduler(scheduler) {}

    [[nodiscard]] bool isAvailable() override { return available; }
    [[nodiscard]] bool canPaste() override { return pastes; }
    void postChord(const KeyChord& chord) override {
        if (!available) return;
        chords.append(chord);
        if (onChord) onChord(chord);
    }
    void postText(const QString& text, std::function<void()> sent) override {
        if (available) chunks.append(text);
        m_scheduler.nextTurn(std::move(sent));
    }
    void endText() override { ++endings; }

    bool pastes = true;
    /// Everything typed so far.
    [[nodiscard]] QString typed() const { return chunks.join(QString()); }

    bool available = true;
    QList<KeyChord> chords;
    QStringList chunks;
    int endings = 0;
    /// What the focused program does with a chord.
    std::function<void(const KeyChord&)> onChord;

private:
    Scheduler& m_scheduler;
};

} // namespace murlo
