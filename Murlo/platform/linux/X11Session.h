#pragma once

namespace murlo {

struct Platform;

/// Adds the ports that an X session serves: applications and their windows, key events and their
/// synthesis, clipboard, surfaces, the desktop's own services. `platform` must have its scheduler
/// already. Without an X server the adapters report failure in their results. Main thread.
void addX11Session(Platform& platform);

} // namespace murlo
