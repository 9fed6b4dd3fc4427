#pragma once

#include "MurloKit/Message.h"
#include "MurloKit/ModelCatalog.h"

#include <optional>

namespace murlo {

/// Whether a speech model fits on the disk. Pure functions.
class DiskSpace {
public:
    /// Bytes that the preferred model is asked for.
    static constexpr qint64 required = 1'200'000'000;
    /// Bytes that another model is asked for beyond its own size, so that the disk is not full
    /// afterwards.
    static constexpr qint64 reserve = 200'000'000;

    /// Nothing when there is enough; else the sentence that says how much is needed.
    using Verdict = std::optional<Message>;

    /// Bytes that must be free before this model is fetched, with what has come of it counted as
    /// free.
    [[nodiscard]] static qint64 needed(const SpeechModel& model);
    [[nodiscard]] static Verdict check(qint64 availableBytes, qint64 needed = required);
};

} // namespace murlo
