#include "dictation/KeptRecording.h"

#include "support/Log.h"
#include "support/PrivateFile.h"

namespace murlo {

void KeptRecording::keep(const QByteArray& wav) {
    if (wav.isEmpty()) return;
    const QString name = QStringLiteral("untranscribed.wav");
    m_queue->async([name, path = m_paths.file(name), wav] {
        const auto kept = writePrivateFile(path, wav);
        Log::write(kept ? QStringLiteral("dictation: the recording is kept in ") + name
                        : QStringLiteral("dictation: the recording could not be kept: ") +
                              kept.error());
    });
}

} // namespace murlo
