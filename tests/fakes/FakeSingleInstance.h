#pragma once

#include "platform/SingleInstance.h"

namespace murlo {

/// The only instance there is.
class FakeSingleInstance : public SingleInstance {
public:
    [[nodiscard]] Start acquire(const QStringList&) override { return Start::first; }
    void beginEnding() override {}
    void release() override {}
};

} // namespace murlo
