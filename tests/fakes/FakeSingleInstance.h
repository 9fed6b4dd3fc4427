#pragma once

#include "platform/SingleInstance.h"

namespace murlo {

/// Instances in memory: those of one test share a `Session`.
class FakeSingleInstance : public SingleInstance {
public:
    struct Session {
        FakeSingleInstance* holder = nullptr;
    };

    explicit FakeSingleInstance(Session& session)
        : m_session(session) {}
    ~FakeSingleInstance() override { FakeSingleInstance::release(); }

    [[nodiscard]] bool acquire(const QStringList& arguments) override {
        if (m_session.holder && m_session.holder != this && !m_session.holder->m_ending) {
            if (m_session.holder->onOpenedAgain) m_session.holder->onOpenedAgain(arguments);
            return false;
        }
        m_session.holder = this;
        return true;
    }
    void beginEnding() override { m_ending = true; }
    void release() override {
        if (m_session.holder == this) m_session.holder = nullptr;
    }

private:
    Session& m_session;
    bool m_ending = false;
};

} // namespace murlo
