#include "platform/linux/X11Session.h"

#include "platform/Platform.h"
#include "platform/linux/x11/clipboard/X11Pasteboard.h"
#include "platform/linux/x11/keys/X11EventTap.h"
#include "platform/linux/x11/surfaces/X11Surfaces.h"
#include "platform/linux/x11/typing/X11KeySynthesizer.h"
#include "platform/linux/x11/windows/X11Applications.h"
#include "platform/linux/x11/windows/X11Desktop.h"
#include "platform/linux/x11/windows/X11Interruptions.h"

namespace murlo {

void addX11Session(Platform& platform) {
    platform.applications = std::make_unique<X11Applications>(*platform.scheduler);
    const auto synthetic = std::make_shared<SyntheticKeys>();
    platform.eventTap = std::make_unique<X11EventTap>(synthetic);
    platform.keySynthesizer = std::make_unique<X11KeySynthesizer>(synthetic);
    platform.pasteboard = std::make_unique<X11Pasteboard>();
    const auto watch = std::make_shared<RootWatch>();
    platform.desktop = std::make_unique<X11Desktop>(watch);
    platform.surfaces = std::make_unique<X11Surfaces>(*platform.scheduler, watch);
    platform.interruptions = std::make_unique<X11Interruptions>();
}

} // namespace murlo
