#pragma once

#include <QString>

namespace murlo {

class Paths;
class SerialQueue;

/// The one process-wide log. Each line is "[HH:mm:ss.SSS] message": to standard error at once, and
/// in the same order to "brisvane.log" in the support folder. There are no levels; messages begin
/// with a lower-case area ("audio: "). Dictated text and tokens never go in.
class Log {
public:
    /// Writes one line. Any thread; never fails. Line breaks inside the message become blanks.
    static void write(const QString& message);

    /// Redirects Qt's messages to this log, in the area "qt".
    static void takeQtWarnings();

    /// Appends to the log file from now on, on this queue, which outlives the log's being open. If
    /// the file cannot be opened, lines go to standard error only. Main thread.
    static void open(const Paths& paths, SerialQueue& disk);
    /// Writes what is queued and closes the file. Main thread.
    static void close();
};

} // namespace murlo
