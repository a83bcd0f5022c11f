#include "platform/windowsystem.h"

#include <cstdlib>
#include <memory>

#include <xcb/res.h>

#include "platform/x11/xconnection.h"

namespace platform {

namespace {

template <typename T> using XcbReply = std::unique_ptr<T, decltype(&std::free)>;

// Errors are taken here and dropped: a window that vanished is no news, and
// left alone they would reach Qt's event queue as warnings.
template <typename T> XcbReply<T> own(T *reply, xcb_generic_error_t *error)
{
    std::free(error);
    return XcbReply<T>(reply, &std::free);
}

// The first 32-bit value of a property, or 0 when it is absent or of another kind.
quint32 takeCardinal(xcb_connection_t *conn, xcb_get_property_cookie_t cookie)
{
    xcb_generic_error_t *error = nullptr;
    auto reply = own(xcb_get_property_reply(conn, cookie, &error), error);
    if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 4)
        return 0;
    return *static_cast<const quint32 *>(xcb_get_property_value(reply.get()));
}

} // namespace

WindowHandle clipboardOwnerWindow()
{
    const XConnection *x = XConnection::instance();
    if (!x || x->clipboardAtom() == XCB_ATOM_NONE)
        return 0;
    xcb_connection_t *conn = x->connection();
    xcb_generic_error_t *error = nullptr;
    auto reply =
        own(xcb_get_selection_owner_reply(conn, xcb_get_selection_owner(conn, x->clipboardAtom()), &error),
            error);
    return reply ? reply->owner : 0;
}

WindowHandle foregroundWindow()
{
    const XConnection *x = XConnection::instance();
    if (!x || x->activeWindowAtom() == XCB_ATOM_NONE || x->rootWindow() == XCB_WINDOW_NONE)
        return 0;
    xcb_connection_t *conn = x->connection();
    return takeCardinal(
        conn, xcb_get_property(conn, 0, x->rootWindow(), x->activeWindowAtom(), XCB_ATOM_WINDOW, 0, 1));
}

ProcessId windowProcessId(WindowHandle window)
{
    const XConnection *x = XConnection::instance();
    // X-Resource answers a query about window 0 with the caller's own pid.
    if (!x || window == 0 || window > 0xFFFFFFFFu)
        return 0;
    xcb_connection_t *conn = x->connection();
    const auto xid = static_cast<xcb_window_t>(window);

    // Both questions go out together, so the lookup costs one round trip. The
    // property is what the program says of itself; hidden helper windows (the
    // usual clipboard owners) lack it, and then the server tells which local
    // client created the window.
    xcb_res_query_client_ids_cookie_t idsCookie{};
    if (x->hasClientIds()) {
        xcb_res_client_id_spec_t query;
        query.client = xid;
        query.mask = XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID;
        idsCookie = xcb_res_query_client_ids(conn, 1, &query);
    }
    xcb_get_property_cookie_t pidCookie{};
    if (x->wmPidAtom() != XCB_ATOM_NONE)
        pidCookie = xcb_get_property(conn, 0, xid, x->wmPidAtom(), XCB_ATOM_CARDINAL, 0, 1);

    ProcessId pid = 0;
    if (x->wmPidAtom() != XCB_ATOM_NONE)
        pid = takeCardinal(conn, pidCookie);
    if (x->hasClientIds()) {
        xcb_generic_error_t *error = nullptr;
        auto reply = own(xcb_res_query_client_ids_reply(conn, idsCookie, &error), error);
        if (pid == 0 && reply) {
            for (auto it = xcb_res_query_client_ids_ids_iterator(reply.get()); it.rem > 0;
                 xcb_res_client_id_value_next(&it)) {
                const auto &[clientId, valueLength] = *it.data;
                if ((clientId.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) && valueLength >= 4) {
                    pid = *xcb_res_client_id_value_value(it.data);
                    break;
                }
            }
        }
    }
    return pid;
}

} // namespace platform
