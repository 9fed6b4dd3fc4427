#pragma once

#include "platform/Scheduler.h"

class QObject;

namespace murlo::KeychainThread {

/// Runs work, in order, on the one thread of this process that uses QtKeychain. The library keeps
/// its queue of jobs and its connection to the secret service for the whole process, both tied to
/// the thread that used them first, and some of its calls block. So this thread starts with the
/// first call and is never joined: ending the program does not wait for a keyring. Any thread.
void run(Work work);

/// The owner of jobs that nobody waits for any more. Use it on that thread.
[[nodiscard]] QObject* abandonedJobs();

} // namespace murlo::KeychainThread
