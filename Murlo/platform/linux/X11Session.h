#pragma once

namespace murlo {

struct Platform;

/// Adds the ports that an X session serves: applications and their windows, key events and their
/// synthesis, clipboard, surfaces, the desktop's own services. The scheduler is there already. A
/// session without a server gets adapters that say so in their answers. Main thread.
void addX11Session(Platform& platform);

} // namespace murlo
