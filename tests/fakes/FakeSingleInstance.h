#pragma once

#include "platform/SingleInstance.h"

namespace murlo {

/// The only instance there is, or one that starts another which the test speaks for.
class FakeSingleInstance : public SingleInstance {
public:
    [[nodiscard]] Start acquire(const QStringList&) override {
        holdsLock = !heldByAnother;
        return holdsLock ? Start::first : Start::handedOver;
    }
    void beginEnding() override {}
    void release() override { holdsLock = false; }
    [[nodiscard]] tl::expected<void, QString> startAnother(const QStringList& arguments) override {
        started << arguments;
        if (refuses) return tl::unexpected(QStringLiteral("no such file"));
        return {};
    }
    [[nodiscard]] bool isHeldByAnother() const override { return heldByAnother; }
    [[nodiscard]] bool awaitEnd(qint64, double) const override { return true; }

    bool holdsLock = true;
    bool heldByAnother = false;
    bool refuses = false;
    QList<QStringList> started;
};

} // namespace murlo
