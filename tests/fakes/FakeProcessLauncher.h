#pragma once

#include "platform/Process.h"
#include "tests/harness/Files.h"

#include <QTemporaryDir>

#include <algorithm>
#include <utility>

namespace murlo {

/// Programs that run as long as the test says. Its resource folder holds an executable file named
/// as the speech engine.
class FakeProcessLauncher : public ProcessLauncher {
public:
    struct Child {
        QString program;
        QStringList arguments;
        Environment environment;
        ChildHandlers handlers;
        qint64 pid = 0;
        bool running = true;
        bool ownsPort = true; ///< whether it alone listens on the port that it is asked about
    };

    FakeProcessLauncher() { putFile(engineProgram(), {}, QFile::ExeOwner); }

    [[nodiscard]] tl::expected<std::unique_ptr<ChildProcess>, QString>
    launch(const QString& program, const QStringList& arguments, const Environment& environment,
           ChildHandlers handlers) override {
        if (!launchError.isEmpty()) return tl::unexpected(launchError);
        const qint64 pid = 1000 + static_cast<qint64>(children.size());
        children.push_back(std::make_shared<Child>(
            Child{program, arguments, environment, std::move(handlers), pid}));
        return std::make_unique<Handle>(children.back());
    }
    [[nodiscard]] std::optional<int> run(const QString& program, const QStringList& arguments,
                                         double /*seconds*/) override {
        runs << QStringList{program} + arguments;
        return std::exchange(runStatus, 1);
    }
    [[nodiscard]] bool ownsListeningPort(qint64 pid, quint16 /*port*/) const override {
        return std::any_of(children.begin(), children.end(), [pid](const auto& child) {
            return child->pid == pid && child->running && child->ownsPort;
        });
    }
    [[nodiscard]] std::optional<quint16> freePort(quint16 wanted) const override {
        return takenPorts.contains(wanted) ? quint16(wanted + 1) : wanted;
    }
    [[nodiscard]] int computingCores() const override { return cores; }
    [[nodiscard]] QString resourceFolder() const override { return m_folder.path(); }
    [[nodiscard]] QString engineProgram() const {
        return resourceFolder() + QStringLiteral("/bin/whisper-server");
    }

    /// The child started last.
    [[nodiscard]] Child& last() const { return *children.back(); }
    /// It ends by itself.
    void exit(int status) const {
        last().running = false;
        if (const auto exited = std::exchange(last().handlers, {}).exited) exited(status);
    }
    /// It writes.
    void print(const QByteArray& piece) const {
        if (const auto output = last().handlers.output) output(piece);
    }

    std::vector<std::shared_ptr<Child>> children; ///< in the order of their starts
    QList<QStringList> runs;                      ///< programs run to their end, with arguments
    std::optional<int> runStatus = 1;             ///< of the next such run; 1 again after it
    QString launchError;                          ///< why nothing can be started, if so
    int cores = 8;
    QSet<quint16> takenPorts; ///< on which somebody else listens

private:
    class Handle : public ChildProcess {
    public:
        explicit Handle(std::shared_ptr<Child> child)
            : m_child(std::move(child)) {}
        ~Handle() override {
            m_child->running = false;
            m_child->handlers = {};
        }
        [[nodiscard]] qint64 pid() const override { return m_child->pid; }
        [[nodiscard]] bool isRunning() const override { return m_child->running; }
        void terminate() override { m_child->running = false; }
        void kill() override { m_child->running = false; }
        bool waitForExit(double /*seconds*/) override { return !m_child->running; }

    private:
        std::shared_ptr<Child> m_child;
    };

    QTemporaryDir m_folder;
};

} // namespace murlo
