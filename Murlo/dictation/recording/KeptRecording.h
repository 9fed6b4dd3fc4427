#pragma once

#include "platform/Port.h"
#include "platform/Scheduler.h"
#include "support/Paths.h"

#include <QByteArray>

namespace murlo {

/// The recordings of the last five dictations that could not be transcribed, so that what was said
/// is not lost with the error: "untranscribed.wav" in the support folder is the newest,
/// "untranscribed-5.wav" the oldest; readable by their owner alone. Main thread; the file is
/// written on the disk queue, and the end waits for it.
class KeptRecording : NonCopyable {
public:
    KeptRecording(const Paths& paths, SerialQueue& disk)
        : m_paths(paths)
        , m_disk(disk) {}
    ~KeptRecording() {
        m_disk.sync([] {});
    }

    /// Saves a WAV file's bytes. The log says where they are, or why they could not be saved.
    void keep(const QByteArray& wav);

private:
    Paths m_paths;
    SerialQueue& m_disk;
};

} // namespace murlo
