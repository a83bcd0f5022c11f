#include "platform/windowsystem.h"

#include <cstdlib>
#include <memory>

#include <unistd.h>

#include <QByteArray>

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

// Whether WM_CLIENT_MACHINE names this host; a window without it is taken
// at its word, as most local programs never set it on helper windows.
bool runsOnThisHost(const PropertyReply &machine)
{
    if (!machine || machine->format != 8 || xcb_get_property_value_length(machine.get()) <= 0)
        return true;
    char host[256] = {};
    if (gethostname(host, sizeof(host) - 1) != 0)
        return true;
    // Host names are compared without case and without their domain, which
    // some programs add and others leave off.
    const auto shortName = [](const QByteArray &name) {
        qsizetype end = 0;
        while (end < name.size() && name.at(end) != '\0' && name.at(end) != '.')
            ++end;
        return name.first(end).toLower();
    };
    const QByteArray claimed(static_cast<const char *>(xcb_get_property_value(machine.get())),
                             xcb_get_property_value_length(machine.get()));
    return shortName(claimed) == shortName(QByteArray(host));
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

    // All questions go out together, so the lookup costs one round trip. The
    // server knows which local process made the window; the property is only
    // what the program says of itself, and a forwarded or sandboxed program
    // says a number that is not a process here. So the server is asked first,
    // and the property counts only when the window says it runs on this host.
    xcb_res_query_client_ids_cookie_t idsCookie{};
    if (x->hasClientIds()) {
        xcb_res_client_id_spec_t query;
        query.client = xid;
        query.mask = XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID;
        idsCookie = xcb_res_query_client_ids(conn, 1, &query);
    }
    const bool askProperty = x->wmPidAtom() != XCB_ATOM_NONE;
    xcb_get_property_cookie_t pidCookie{};
    xcb_get_property_cookie_t machineCookie{};
    if (askProperty) {
        pidCookie = xcb_get_property(conn, 0, xid, x->wmPidAtom(), XCB_ATOM_CARDINAL, 0, 1);
        machineCookie = xcb_get_property(conn, 0, xid, XCB_ATOM_WM_CLIENT_MACHINE, XCB_ATOM_STRING, 0, 64);
    }

    ProcessId pid = 0;
    if (x->hasClientIds()) {
        xcb_generic_error_t *error = nullptr;
        auto reply = own(xcb_res_query_client_ids_reply(conn, idsCookie, &error), error);
        for (auto it = reply ? xcb_res_query_client_ids_ids_iterator(reply.get()) : xcb_res_client_id_value_iterator_t{};
             it.rem > 0; xcb_res_client_id_value_next(&it)) {
            const auto &[clientId, valueLength] = *it.data;
            if ((clientId.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) && valueLength >= 4) {
                pid = *xcb_res_client_id_value_value(it.data);
                break;
            }
        }
    }
    if (askProperty) {
        const ProcessId claimed = takeCardinal(conn, pidCookie);
        const bool local = runsOnThisHost(takeProperty(conn, machineCookie));
        if (pid == 0 && local)
            pid = claimed;
    }
    return pid;
}

} // namespace platform
