#pragma once

#include "backend/AccountClient.h"
#include "targets/InputTarget.h"

#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <set>

namespace murlo {

class AccountManager;
class Applications;
class RefusedKeys;
class Scheduler;
class Settings;

/// Has the backend rewrite a transcript for the application that it goes to. The words as they were
/// spoken come back whenever anything goes wrong, and after 3 s in any case. Main thread.
class PromptEnhancer {
public:
    static constexpr double limit = 3; ///< seconds that a dictation waits for at most

    struct Partners {
        const Settings& settings;
        const AccountManager& account;
        AccountClient& client;
        RefusedKeys& refused;
        Applications& applications;
        Scheduler& scheduler;
    };
    explicit PromptEnhancer(const Partners& with);
    ~PromptEnhancer();

    /// Whether texts are to be enhanced: it is switched on, and somebody is signed in.
    [[nodiscard]] bool isOn() const;

    /// Identifier of the application that receives the text: the picked box's, else the frontmost.
    [[nodiscard]] std::optional<QString>
    targetBundleId(const std::optional<InputTarget>& pinned) const;

    /// Answers once, on a later turn, with the text to deliver; never fails.
    void enhance(const QString& text, const std::optional<QString>& targetApp,
                 std::function<void(QString)> done);

    /// A rewritten text as it may be typed: without control characters other than line feed and
    /// tab. Nothing for one that is blank, or absurd: above 20,000 UTF-16 code units and ten times
    /// what was spoken.
    [[nodiscard]] static std::optional<QString> usable(const QString& rewritten,
                                                       const QString& spoken);

private:
    struct Race;
    void finish(const std::shared_ptr<Race>& race, const std::optional<QString>& rewritten);

    Partners m_with;
    std::set<std::shared_ptr<Race>> m_races; ///< under way
};

} // namespace murlo
