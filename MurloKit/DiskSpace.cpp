#include "MurloKit/DiskSpace.h"

#include <cmath>

namespace murlo {

qint64 DiskSpace::needed(const SpeechModel& model) {
    return model.file == ModelCatalog::preferred().file ? required : model.bytes + reserve;
}

DiskSpace::Verdict DiskSpace::check(qint64 availableBytes, qint64 needed) {
    if (availableBytes >= needed) return std::nullopt;
    const double gigabytes = std::ceil(static_cast<double>(needed) / 1e8) / 10; // of 10^9 bytes
    return Message(Word::notEnoughSpace, {QString::number(gigabytes, 'f', 1)});
}

} // namespace murlo
