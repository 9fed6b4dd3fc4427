#include "platform/linux/x11/keys/InputDevices.h"

#include <cstring>

namespace murlo::InputDevices {

namespace {

bool isSynthetic(const XcbConnection& connection, xcb_input_device_id_t device) {
    const xcb_atom_t mark = connection.atom(QStringLiteral("XTEST Device"));
    const auto property = connection.reply(
        xcb_input_xi_get_property_reply,
        xcb_input_xi_get_property(connection, device, 0, mark, XCB_ATOM_ANY, 0, 1));
    return property && property->num_items == 1;
}

bool hasKeys(const xcb_input_xi_device_info_t& device) {
    for (auto at = xcb_input_xi_device_info_classes_iterator(&device); at.rem;
         xcb_input_device_class_next(&at)) {
        if (at.data->type == XCB_INPUT_DEVICE_CLASS_TYPE_KEY) return true;
    }
    return false;
}

} // namespace

bool prepare(const XcbConnection& connection) {
    if (!connection.extension(xcb_input_id)) return false;
    const auto version = connection.reply(xcb_input_xi_query_version_reply,
                                          xcb_input_xi_query_version(connection, 2, 2));
    return version && (version->major_version > 2 ||
                       (version->major_version == 2 && version->minor_version >= 2));
}

void selectRawKeys(const XcbConnection& connection, bool select) {
    struct {
        xcb_input_event_mask_t header;
        quint32 mask;
    } request{{XCB_INPUT_DEVICE_ALL, 1}, 0};
    if (select)
        request.mask = XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS |
                       XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE | XCB_INPUT_XI_EVENT_MASK_HIERARCHY;
    xcb_input_xi_select_events(connection, connection.root(), 1, &request.header);
    xcb_flush(connection);
}

std::vector<SlaveKeyboard> keyboards(const XcbConnection& connection) {
    std::vector<SlaveKeyboard> found;
    const auto devices =
        connection.reply(xcb_input_xi_query_device_reply,
                         xcb_input_xi_query_device(connection, XCB_INPUT_DEVICE_ALL));
    if (!devices) return found;
    for (auto at = xcb_input_xi_query_device_infos_iterator(devices.get()); at.rem;
         xcb_input_xi_device_info_next(&at)) {
        const bool isKeyboard =
            at.data->type == XCB_INPUT_DEVICE_TYPE_SLAVE_KEYBOARD ||
            (at.data->type == XCB_INPUT_DEVICE_TYPE_FLOATING_SLAVE && hasKeys(*at.data));
        if (isKeyboard && at.data->enabled)
            found.push_back({at.data->deviceid, isSynthetic(connection, at.data->deviceid)});
    }
    return found;
}

KeySet keysDown(const XcbConnection& connection, xcb_input_device_id_t device) {
    KeySet down;
    const auto state =
        connection.reply(xcb_input_query_device_state_reply,
                         xcb_input_query_device_state(connection, static_cast<quint8>(device)));
    if (!state) return down;
    // The classes are consecutive records of variable length.
    const auto* at = reinterpret_cast<const quint8*>(state.get() + 1);
    const auto* end =
        reinterpret_cast<const quint8*>(state.get()) + 32 + std::size_t{state->length} * 4;
    for (int left = state->num_classes; left > 0 && at + 2 <= end && at[1] > 0;
         --left, at += at[1]) {
        if (at[0] != XCB_INPUT_INPUT_CLASS_KEY || at + sizeof(xcb_input_key_state_t) > end)
            continue;
        const auto& keys = *reinterpret_cast<const xcb_input_key_state_t*>(at);
        for (std::size_t keycode = 0; keycode < down.size(); ++keycode)
            down[keycode] = keys.keys[keycode / 8] >> (keycode % 8) & 1;
    }
    return down;
}

int eventType(const XcbConnection& connection, const xcb_generic_event_t& event) {
    if ((event.response_type & 0x7f) != XCB_GE_GENERIC) return -1;
    const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
    const auto* input = connection.extension(xcb_input_id);
    return input && generic.extension == input->major_opcode ? generic.event_type : -1;
}

} // namespace murlo::InputDevices
