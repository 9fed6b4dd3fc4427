#pragma once

#include "platform/Port.h"

#include <QDBusConnection>
#include <QList>
#include <QRect>
#include <QString>
#include <QVariantList>

#include <optional>

namespace murlo {

/// The text boxes that can be seen of one program and of those that it started, as a screen reader
/// finds them: over the accessibility bus, from outside, by means of its own. Main thread; every
/// question to another program is given up after a second.
class TextBoxes : NonCopyable {
public:
    struct Box {
        QString service;
        QString path;
        QRect place; ///< on the screen
        bool hasFocus = false;
    };

    explicit TextBoxes(qint64 pid);
    ~TextBoxes() { QDBusConnection::disconnectFromBus(m_name); }

    /// From top to bottom.
    [[nodiscard]] QList<Box> find() const;
    /// The whole text of a box; nothing when it does not answer (any more).
    [[nodiscard]] std::optional<QString> textOf(const Box& box) const;

private:
    [[nodiscard]] QVariant ask(const Box& box, const char* interface, const char* method,
                               const QVariantList& arguments = {}) const;
    [[nodiscard]] QList<Box> childrenOf(const Box& box) const;
    void collect(const Box& element, int depth, QList<Box>& found) const;

    qint64 m_pid;
    QString m_name; ///< of the connection
    QDBusConnection m_bus;
};

} // namespace murlo
