#include "platform/windowtitle.h"

#include <cstdlib>
#include <memory>

#include "platform/x11/xatoms.h"
#include "platform/x11/xconnection.h"

namespace platform {

namespace {

// Titles longer than this are cut; the log needs no more.
constexpr uint32_t kTitleWords = 1024;

QByteArray valueOf(const PropertyReply &reply)
{
    if (!reply || reply->format != 8)
        return QByteArray();
    return QByteArray(static_cast<const char *>(xcb_get_property_value(reply.get())),
                      xcb_get_property_value_length(reply.get()));
}

} // namespace

QString windowTitle(WindowHandle window)
{
    const XConnection *x = XConnection::instance();
    if (!x || window == 0 || window > 0xFFFFFFFFu)
        return QString();
    xcb_connection_t *conn = x->connection();
    const auto xid = static_cast<xcb_window_t>(window);
    const xcb_atom_t netName = XAtoms::get(conn, "_NET_WM_NAME");
    const xcb_atom_t utf8 = XAtoms::get(conn, "UTF8_STRING");

    // Both asked at once; the EWMH name is UTF-8, the old one Latin-1.
    xcb_get_property_cookie_t netCookie{};
    if (netName != XCB_ATOM_NONE && utf8 != XCB_ATOM_NONE)
        netCookie = xcb_get_property(conn, 0, xid, netName, utf8, 0, kTitleWords);
    const xcb_get_property_cookie_t oldCookie =
        xcb_get_property(conn, 0, xid, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY, 0, kTitleWords);

    QString title;
    if (netName != XCB_ATOM_NONE && utf8 != XCB_ATOM_NONE)
        title = QString::fromUtf8(valueOf(takeProperty(conn, netCookie)));
    PropertyReply old = takeProperty(conn, oldCookie);
    if (title.isEmpty()) {
        const QByteArray bytes = valueOf(old);
        title = old && old->type == utf8 ? QString::fromUtf8(bytes) : QString::fromLatin1(bytes);
    }
    return title;
}

} // namespace platform
