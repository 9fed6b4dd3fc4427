#pragma once

#include "MurloKit/SignOutReason.h"

#include <optional>

namespace murlo {

class Settings;

/// Why the account was last signed out, remembered in the settings until its user was told. Any
/// thread.
class SignOutReasonStore {
public:
    explicit SignOutReasonStore(Settings& defaults)
        : m_defaults(defaults) {}

    void record(SignOutReason reason);
    void clear();
    /// The reason, which is told once: it is forgotten by the call. Nothing for one that this
    /// version does not know.
    [[nodiscard]] std::optional<SignOutReason> consume();

private:
    Settings& m_defaults;
};

} // namespace murlo
