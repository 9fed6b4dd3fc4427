#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

namespace murlo {

/// Picks from the output of one engine process the lines that go into the log: diagnostics that
/// contain "error" or "failed". Memory and log stay bounded whatever the engine writes.
///
/// The engine prints no transcripts as it is started, but a build or option that does must not
/// carry dictated text into the log. Until the process was offered speech, every such line is safe;
/// after that, only lines that begin as its diagnostics do, with the name of a function or the path
/// of a program or source file, are taken. Transcripts begin with words.
class EngineOutput {
public:
    static constexpr qsizetype longestLine = 1000; ///< bytes; what follows in a line is dropped
    static constexpr int mostLines = 500;          ///< taken from one process

    explicit EngineOutput(std::function<void(const QString&)> log)
        : m_log(std::move(log)) {}

    /// The next piece of output, of any size, cut anywhere.
    void add(QByteArrayView piece);
    /// The process ended: an unterminated last line counts as a line.
    void finish() { endLine(); }
    /// From now on the process may have been sent speech.
    void setHeardSpeech() { m_heardSpeech = true; }

private:
    void endLine();

    std::function<void(const QString&)> m_log;
    QByteArray m_line;
    int m_taken = 0;
    bool m_heardSpeech = false;
};

} // namespace murlo
