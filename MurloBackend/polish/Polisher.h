#pragma once

#include <QString>

#include <functional>
#include <optional>
#include <tl/expected.hpp>

namespace murlo::backend {

/// Rewrites dictated text for the application that it goes to. Texts are neither stored nor logged.
class Polisher {
public:
    virtual ~Polisher() = default;
    /// The rewritten text, or an HTTP status of 500 and above that the client gets instead. Any
    /// thread; completes once, on any thread, possibly during the call.
    virtual void polish(const QString& text, const std::optional<QString>& targetApp,
                        std::function<void(tl::expected<QString, int>)> done) = 0;
};

} // namespace murlo::backend
