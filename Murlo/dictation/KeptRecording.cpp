#include "dictation/KeptRecording.h"

#include "support/Log.h"

#include <QSaveFile>

namespace murlo {

void KeptRecording::keep(const QByteArray& wav) {
    if (wav.isEmpty()) return;
    const QString name = QStringLiteral("untranscribed.wav");
    m_queue->async([name, path = m_paths.file(name), wav] {
        QSaveFile file(path);
        const bool kept = file.open(QIODevice::WriteOnly) &&
                          file.setPermissions(QSaveFile::ReadOwner | QSaveFile::WriteOwner) &&
                          file.write(wav) == wav.size() && file.commit();
        Log::write(kept ? QStringLiteral("dictation: the recording is kept in ") + name
                        : QStringLiteral("dictation: the recording could not be kept: ") +
                              file.errorString());
    });
}

} // namespace murlo
