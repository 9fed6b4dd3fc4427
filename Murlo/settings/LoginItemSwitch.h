#pragma once

namespace murlo {

class LoginItem;

/// Has the desktop start Murlo at login, or no longer, and leaves a line in the log of what came of
/// it; true when it worked. Main thread.
bool setLoginItem(LoginItem& item, bool enabled);

} // namespace murlo
