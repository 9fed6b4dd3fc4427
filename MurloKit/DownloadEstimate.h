#pragma once

#include "MurloKit/Message.h"

namespace murlo {

/// How long a download still takes. A pure function.
class DownloadEstimate {
public:
    /// `bytesWritten` of `totalBytes` came within `elapsed` seconds. A download that goes on after
    /// an interruption counts from there: what lay on the disk before says nothing of the rate.
    [[nodiscard]] static Message remainingText(qint64 bytesWritten, qint64 totalBytes,
                                               double elapsed);
};

} // namespace murlo
