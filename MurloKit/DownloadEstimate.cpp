#include "MurloKit/DownloadEstimate.h"

#include <cmath>

namespace murlo {

Message DownloadEstimate::remainingText(qint64 bytesWritten, qint64 totalBytes, double elapsed) {
    // Written so that what is no number fails the comparison.
    if (totalBytes < 1 || bytesWritten < 1 || !(elapsed >= 1)) return Word::connecting;
    const double rate = static_cast<double>(bytesWritten) / elapsed; // bytes in a second
    if (!(rate > 0)) return Word::connecting;
    const double left = static_cast<double>(totalBytes - bytesWritten) / rate;
    if (!(left >= 59.999999)) return Word::almostDone;
    const double minutes = std::round(left / 60);
    if (minutes == 1) return Word::minuteLeft;
    return {Word::minutesLeft, {QString::number(minutes, 'f', 0)}};
}

} // namespace murlo
