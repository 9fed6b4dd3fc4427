#pragma once

#include "platform/Applications.h"

#include <QList>
#include <QMap>

namespace murlo {

/// Applications as the test wants them.
class FakeApplications : public Applications {
public:
    struct Application {
        std::optional<QString> identifier;
        std::optional<QString> name;
    };

    [[nodiscard]] std::optional<qint64> frontmostPid() const override { return frontmost; }
    [[nodiscard]] QStringList focusedProgram() const override { return program; }
    [[nodiscard]] std::optional<QString> identifier(qint64 pid) const override {
        return running.value(pid).identifier;
    }
    [[nodiscard]] std::optional<QString> name(qint64 pid) const override {
        return running.value(pid).name;
    }
    [[nodiscard]] QList<WindowInfo> windowsOnScreen() const override { return windows; }
    [[nodiscard]] bool click(qint64, const QString&, const QRectF&) override { return false; }
    void activate(qint64, const QString&) override {}

    QMap<qint64, Application> running;
    std::optional<qint64> frontmost;
    QStringList program;       ///< that keys go to
    QList<WindowInfo> windows; ///< front to back
};

} // namespace murlo
