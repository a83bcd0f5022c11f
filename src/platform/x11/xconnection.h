#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace platform {

// Qt's own connection to the X server, with the atoms and extensions the
// window lookups need. Everything is asked for once, on first use, so that a
// lookup costs only its own round trip.
class XConnection
{
public:
    // Null when the application does not run on X (offscreen tests, Wayland
    // without XWayland) or before the application object exists.
    static const XConnection *instance();

    xcb_connection_t *connection() const { return conn; }
    xcb_window_t rootWindow() const { return root; }
    xcb_atom_t clipboardAtom() const { return clipboard; }
    xcb_atom_t activeWindowAtom() const { return activeWindow; }
    xcb_atom_t wmPidAtom() const { return wmPid; }
    // Whether the server answers X-Resource client id queries (1.2 and later).
    bool hasClientIds() const { return clientIds; }

private:
    explicit XConnection(xcb_connection_t *connection);

    xcb_connection_t *conn = nullptr;
    xcb_window_t root = XCB_WINDOW_NONE;
    xcb_atom_t clipboard = XCB_ATOM_NONE;
    xcb_atom_t activeWindow = XCB_ATOM_NONE;
    xcb_atom_t wmPid = XCB_ATOM_NONE;
    bool clientIds = false;
};

// A property reply that frees itself.
using PropertyReply = std::unique_ptr<xcb_get_property_reply_t, decltype(&std::free)>;
// Waits for a property request; null on any error, which is dropped.
PropertyReply takeProperty(xcb_connection_t *conn, xcb_get_property_cookie_t cookie);

} // namespace platform
