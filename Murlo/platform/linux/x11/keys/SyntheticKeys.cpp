#include "platform/linux/x11/keys/SyntheticKeys.h"

#include <xcb/xtest.h>

namespace murlo {

void SyntheticKeys::post(const XcbConnection& connection, xcb_keycode_t keycode, bool press) {
    expect(keycode, press);
    xcb_test_fake_input(connection, press ? XCB_KEY_PRESS : XCB_KEY_RELEASE, keycode,
                        XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
}

} // namespace murlo
