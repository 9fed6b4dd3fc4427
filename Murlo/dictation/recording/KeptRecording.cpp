#include "dictation/recording/KeptRecording.h"

#include "support/Log.h"
#include "support/PrivateFile.h"

#include <QFile>

namespace murlo {

namespace {

constexpr int mostKept = 5;

QString nameOf(int age) {
    return age == 1 ? QStringLiteral("untranscribed.wav")
                    : QStringLiteral("untranscribed-%1.wav").arg(age);
}

} // namespace

void KeptRecording::keep(const QByteArray& wav) {
    if (wav.isEmpty()) return;
    const QString name = nameOf(1);
    m_disk.async([name, paths = m_paths, wav] {
        // Write to a new file first: if the disk is full, the earlier recordings stay.
        const QString fresh = paths.file(name + QStringLiteral(".new"));
        if (const auto kept = writePrivateFile(fresh, wav); !kept) {
            QFile::remove(fresh);
            Log::write(QStringLiteral("dictation: the recording could not be kept: ") +
                       kept.error());
            return;
        }
        QFile::remove(paths.file(nameOf(mostKept)));
        for (int age = mostKept; age > 1; --age)
            QFile::rename(paths.file(nameOf(age - 1)), paths.file(nameOf(age)));
        const bool named = QFile::rename(fresh, paths.file(name));
        Log::write(QStringLiteral("dictation: the recording is kept in ") +
                   (named ? name : name + QStringLiteral(".new")));
    });
}

} // namespace murlo
