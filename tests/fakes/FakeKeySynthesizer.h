#pragma once

#include "platform/KeySynthesizer.h"
#include "platform/Scheduler.h"

#include <QList>
#include <QStringList>

#include <optional>

namespace murlo {

/// Notes what would have been typed. `sent` comes on a later turn of the scheduler.
class FakeKeySynthesizer : public KeySynthesizer {
public:
    explicit FakeKeySynthesizer(Scheduler& scheduler)
        : m_scheduler(scheduler) {}

    [[nodiscard]] bool canPostKeys() override { return available; }
    [[nodiscard]] KeyResult postChord(const KeyChord& chord) override {
        if (const KeyResult result = fare(chordFailure); !result) return result;
        chords.append(chord);
        if (onChord) onChord(chord);
        return {};
    }
    void postText(const QString& text, std::function<void(const KeyResult&)> sent) override {
        const KeyResult result = fare(
            chunks.size() >= chunksThatWork ? std::optional(KeyFailure::noAccess) : std::nullopt);
        if (result) chunks.append(text);
        m_scheduler.nextTurn([sent = std::move(sent), result] { sent(result); });
    }
    void endText() override { ++endings; }

    std::optional<KeyFailure> chordFailure;
    /// After so many pieces of text the keyboard is gone.
    qsizetype chunksThatWork = 10000;
    /// Everything typed so far.
    [[nodiscard]] QString typed() const { return chunks.join(QString()); }

    bool available = true;
    QList<KeyChord> chords;
    QStringList chunks;
    int endings = 0;
    /// What the focused program does with a chord.
    std::function<void(const KeyChord&)> onChord;

private:
    [[nodiscard]] KeyResult fare(std::optional<KeyFailure> failure) const {
        if (!available) return tl::unexpected(KeyFailure::noAccess);
        return failure ? KeyResult(tl::unexpected(*failure)) : KeyResult();
    }

    Scheduler& m_scheduler;
};

} // namespace murlo
