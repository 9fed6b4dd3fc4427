#pragma once

#include "platform/Scheduler.h"
#include "platform/UrlScheme.h"

#include <QStringList>

namespace murlo {

/// A desktop's list of schemes that are Murlo's.
class FakeUrlScheme : public UrlScheme {
public:
    explicit FakeUrlScheme(Scheduler& scheduler)
        : m_scheduler(scheduler) {}

    void claim(const QString& scheme, std::function<void(bool)> done) override {
        if (works && !claimed.contains(scheme)) claimed << scheme;
        m_scheduler.nextTurn(m_life.guard([done, worked = works] { done(worked); }));
    }
    void release(std::function<void(bool)> done) override {
        if (works) claimed.clear();
        m_scheduler.nextTurn(m_life.guard([done, worked = works] { done(worked); }));
    }

    QStringList claimed;
    bool works = true;

private:
    Scheduler& m_scheduler;
    Lifetime m_life;
};

} // namespace murlo
