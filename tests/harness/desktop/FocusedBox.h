#pragma once

#include <QDBusConnection>
#include <QList>
#include <QString>

#include <optional>

namespace murlo {

/// The text box with keyboard focus in one program, as a screen reader finds it: over the
/// accessibility bus, from outside, by means of its own. Main thread; every question to another
/// program is given up after a second.
class FocusedBox {
public:
    /// Looks in the programs of `pid` and of the processes it has started.
    explicit FocusedBox(qint64 pid);
    ~FocusedBox();
    FocusedBox(const FocusedBox&) = delete;
    FocusedBox& operator=(const FocusedBox&) = delete;

    /// Finds the box; false when none of those programs has the focus in a text box now.
    [[nodiscard]] bool find();
    /// The whole text of the box that `find` found; nothing when it does not answer (any more).
    [[nodiscard]] std::optional<QString> text() const;

private:
    struct Node {
        QString service;
        QString path;
    };
    struct Answers;

    [[nodiscard]] QList<Node> applications() const;
    [[nodiscard]] bool isOurs(const QString& service) const;
    [[nodiscard]] std::optional<Node> search(const Node& application) const;

    qint64 m_pid;
    QString m_connectionName;
    QDBusConnection m_bus;
    std::optional<Node> m_box;
};

} // namespace murlo
