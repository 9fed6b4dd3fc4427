#pragma once

#include "platform/Process.h"

namespace murlo {

/// Child programs through `QProcess`. A child gets no standard input, a process group of its own
/// and an empty signal mask.
class QtProcessLauncher : public ProcessLauncher {
public:
    /// `resourceFolder` holds the application's own programs and data (see `installedResources`).
    explicit QtProcessLauncher(QString resourceFolder)
        : m_resourceFolder(std::move(resourceFolder)) {}

    [[nodiscard]] tl::expected<std::unique_ptr<ChildProcess>, QString>
    launch(const QString& program, const QStringList& arguments, const Environment& environment,
           ChildHandlers handlers) override;
    [[nodiscard]] std::optional<int> run(const QString& program, const QStringList& arguments,
                                         double seconds) override;
    [[nodiscard]] bool ownsListeningPort(qint64 pid, quint16 port) const override;
    [[nodiscard]] std::optional<quint16> freePort(quint16 wanted) const override;
    [[nodiscard]] int computingCores() const override;
    [[nodiscard]] QString resourceFolder() const override { return m_resourceFolder; }

    /// Where an installation keeps its resources: `<prefix>/lib/murlo` for a program in
    /// `<prefix>/bin`. `executableFolder` is the folder of the running program.
    [[nodiscard]] static QString installedResources(const QString& executableFolder);

private:
    QString m_resourceFolder;
};

} // namespace murlo
