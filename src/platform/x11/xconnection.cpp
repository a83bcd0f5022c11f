#include "platform/x11/xconnection.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include <QGuiApplication>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/res.h>

namespace platform {

namespace {

template <typename T> using XcbReply = std::unique_ptr<T, decltype(&std::free)>;

xcb_atom_t takeAtom(xcb_connection_t *conn, xcb_intern_atom_cookie_t cookie)
{
    XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(conn, cookie, nullptr), &std::free);
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

xcb_intern_atom_cookie_t askAtom(xcb_connection_t *conn, const char *name)
{
    return xcb_intern_atom(conn, 0, static_cast<uint16_t>(std::strlen(name)), name);
}

} // namespace

XConnection::XConnection(xcb_connection_t *connection) : conn(connection)
{
    const xcb_setup_t *setup = xcb_get_setup(conn);
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(setup);
    if (screens.rem > 0)
        root = screens.data->root;

    // All requests go out before the first reply is awaited: one round trip.
    const xcb_intern_atom_cookie_t clipboardCookie = askAtom(conn, "CLIPBOARD");
    const xcb_intern_atom_cookie_t activeCookie = askAtom(conn, "_NET_ACTIVE_WINDOW");
    const xcb_intern_atom_cookie_t pidCookie = askAtom(conn, "_NET_WM_PID");
    const xcb_query_extension_reply_t *res = xcb_get_extension_data(conn, &xcb_res_id);
    xcb_res_query_version_cookie_t versionCookie{};
    const bool hasRes = res && res->present;
    if (hasRes)
        versionCookie = xcb_res_query_version(conn, XCB_RES_MAJOR_VERSION, XCB_RES_MINOR_VERSION);

    clipboard = takeAtom(conn, clipboardCookie);
    activeWindow = takeAtom(conn, activeCookie);
    wmPid = takeAtom(conn, pidCookie);
    if (hasRes) {
        XcbReply<xcb_res_query_version_reply_t> version(
            xcb_res_query_version_reply(conn, versionCookie, nullptr), &std::free);
        // Client id queries arrived with version 1.2 of the extension.
        clientIds = version &&
                    (version->server_major > 1 || (version->server_major == 1 && version->server_minor >= 2));
    }
}

const XConnection *XConnection::instance()
{
    auto *app = qobject_cast<QGuiApplication *>(QCoreApplication::instance());
    if (!app)
        return nullptr;
    auto *x11 = app->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11 || !x11->connection())
        return nullptr;
    // Qt keeps one connection for the life of the application object.
    static XConnection *cached = nullptr;
    if (!cached || cached->conn != x11->connection()) {
        delete cached;
        cached = new XConnection(x11->connection());
    }
    return cached;
}

PropertyReply takeProperty(xcb_connection_t *conn, xcb_get_property_cookie_t cookie)
{
    xcb_generic_error_t *error = nullptr;
    PropertyReply reply(xcb_get_property_reply(conn, cookie, &error), &std::free);
    std::free(error);
    return reply;
}

} // namespace platform
