#include "platform/input.h"

#include <cstdlib>
#include <memory>
#include <vector>

#include <QTimer>

#include <xcb/xcb_keysyms.h>
#include <xcb/xtest.h>

#include "platform/x11/xconnection.h"

namespace platform {

namespace {

constexpr xcb_keysym_t kKeysymControlL = 0xffe3;
constexpr xcb_keysym_t kKeysymLowerV = 0x0076;
constexpr xcb_keysym_t kKeysymUpperV = 0x0056;
// _NET_ACTIVE_WINDOW source indication of a pager: window managers honour
// it without their focus-stealing checks, as they would a taskbar click.
constexpr uint32_t kSourcePager = 2;
// How long a borrowed key code keeps the keysym "v": long enough for the
// target to have read the key events, which it does in order.
constexpr int kRemapHoldMs = 250;

template <typename T> using XcbReply = std::unique_ptr<T, decltype(&std::free)>;

template <typename T> XcbReply<T> own(T *reply, xcb_generic_error_t *error)
{
    std::free(error);
    return XcbReply<T>(reply, &std::free);
}

xcb_keycode_t firstKeycode(xcb_key_symbols_t *symbols, xcb_keysym_t keysym)
{
    XcbReply<xcb_keycode_t> codes(xcb_key_symbols_get_keycode(symbols, keysym), &std::free);
    return codes ? codes.get()[0] : 0;
}

// A key code that carries no symbol at all in the current layout.
xcb_keycode_t spareKeycode(xcb_connection_t *conn, xcb_key_symbols_t *symbols)
{
    const xcb_setup_t *setup = xcb_get_setup(conn);
    // Searched from the top: the low codes are the ones real keyboards use.
    for (int code = setup->max_keycode; code >= setup->min_keycode; --code) {
        bool empty = true;
        for (int column = 0; column < 4 && empty; ++column)
            empty = xcb_key_symbols_get_keysym(symbols, static_cast<xcb_keycode_t>(code), column) == 0;
        if (empty)
            return static_cast<xcb_keycode_t>(code);
    }
    return 0;
}

void setKeysyms(xcb_connection_t *conn, xcb_keycode_t code, xcb_keysym_t lower, xcb_keysym_t upper)
{
    const xcb_keysym_t keysyms[2] = {lower, upper};
    xcb_change_keyboard_mapping(conn, 1, code, 2, keysyms);
}

// The keys that matter for a synthetic Ctrl+V, as the server sees them now.
struct KeyboardState
{
    // Modifier keys the user still holds (the hotkey that opened our window,
    // say): they would turn Ctrl+V into another shortcut. Control and Lock
    // are not among them.
    std::vector<xcb_keycode_t> heldModifiers;
    // Whether the Control key used for the paste is already down.
    bool controlDown = false;
    // Whether any key the layout makes a Control key is down: the keys as
    // they are pressed now, not a modifier state a latch or lock could hold.
    bool anyControlDown = false;
};

KeyboardState keyboardState(xcb_connection_t *conn, xcb_keycode_t control)
{
    const xcb_query_keymap_cookie_t keymapCookie = xcb_query_keymap(conn);
    const xcb_get_modifier_mapping_cookie_t modifierCookie = xcb_get_modifier_mapping(conn);
    xcb_generic_error_t *error = nullptr;
    auto keymap = own(xcb_query_keymap_reply(conn, keymapCookie, &error), error);
    error = nullptr;
    auto modifiers = own(xcb_get_modifier_mapping_reply(conn, modifierCookie, &error), error);
    KeyboardState state;
    if (!keymap)
        return state;
    auto isDown = [&keymap](xcb_keycode_t code) { return (keymap->keys[code / 8] & (1 << (code % 8))) != 0; };
    state.controlDown = isDown(control);
    if (!modifiers)
        return state;

    const int perModifier = modifiers->keycodes_per_modifier;
    const xcb_keycode_t *codes = xcb_get_modifier_mapping_keycodes(modifiers.get());
    for (int modifier = 0; modifier < 8; ++modifier) {
        if (modifier == XCB_MAP_INDEX_LOCK)
            continue;
        for (int i = 0; i < perModifier; ++i) {
            const xcb_keycode_t code = codes[modifier * perModifier + i];
            if (code == 0 || !isDown(code))
                continue;
            if (modifier == XCB_MAP_INDEX_CONTROL)
                state.anyControlDown = true;
            else
                state.heldModifiers.push_back(code);
        }
    }
    return state;
}

void fakeKey(xcb_connection_t *conn, uint8_t type, xcb_keycode_t code)
{
    xcb_test_fake_input(conn, type, code, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
}

} // namespace

bool requestActivation(WindowHandle window)
{
    const XConnection *x = XConnection::instance();
    if (!x || window == 0 || window > 0xFFFFFFFFu || x->activeWindowAtom() == XCB_ATOM_NONE)
        return false;
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = static_cast<xcb_window_t>(window);
    event.type = x->activeWindowAtom();
    event.data.data32[0] = kSourcePager;
    event.data.data32[1] = XCB_CURRENT_TIME;
    event.data.data32[2] = 0;
    xcb_send_event(x->connection(), 0, x->rootWindow(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char *>(&event));
    xcb_flush(x->connection());
    return true;
}

bool isActiveWindow(WindowHandle window)
{
    return window != 0 && foregroundWindow() == window;
}

bool activationIsAsynchronous()
{
    return true;
}

bool sendPasteKeys()
{
    const XConnection *x = XConnection::instance();
    if (!x)
        return false;
    xcb_connection_t *conn = x->connection();
    const xcb_query_extension_reply_t *xtest = xcb_get_extension_data(conn, &xcb_test_id);
    if (!xtest || !xtest->present)
        return false;

    std::unique_ptr<xcb_key_symbols_t, decltype(&xcb_key_symbols_free)> symbols(xcb_key_symbols_alloc(conn),
                                                                                &xcb_key_symbols_free);
    if (!symbols)
        return false;
    const xcb_keycode_t control = firstKeycode(symbols.get(), kKeysymControlL);
    if (control == 0)
        return false;
    xcb_keycode_t v = firstKeycode(symbols.get(), kKeysymLowerV);
    xcb_keycode_t borrowed = 0;
    if (v == 0) {
        // A layout without a Latin "v": lend it to an unused key code for the moment.
        borrowed = spareKeycode(conn, symbols.get());
        if (borrowed == 0)
            return false;
        setKeysyms(conn, borrowed, kKeysymLowerV, kKeysymUpperV);
        v = borrowed;
    }

    const KeyboardState state = keyboardState(conn, control);
    for (xcb_keycode_t code : state.heldModifiers)
        fakeKey(conn, XCB_KEY_RELEASE, code);
    if (!state.controlDown)
        fakeKey(conn, XCB_KEY_PRESS, control);
    fakeKey(conn, XCB_KEY_PRESS, v);
    fakeKey(conn, XCB_KEY_RELEASE, v);
    // Put back what the user's fingers still hold, so that the server agrees
    // with the keyboard when they let go.
    if (!state.controlDown)
        fakeKey(conn, XCB_KEY_RELEASE, control);
    for (xcb_keycode_t code : state.heldModifiers)
        fakeKey(conn, XCB_KEY_PRESS, code);
    xcb_flush(conn);

    if (borrowed != 0) {
        QTimer::singleShot(kRemapHoldMs, [conn, borrowed] {
            const XConnection *now = XConnection::instance();
            if (!now || now->connection() != conn)
                return;
            setKeysyms(conn, borrowed, 0, 0);
            xcb_flush(conn);
        });
    }
    return true;
}

bool isControlKeyDown()
{
    const XConnection *x = XConnection::instance();
    // Key code 0 stands for no key of the paste's own.
    return x && keyboardState(x->connection(), 0).anyControlDown;
}

} // namespace platform
