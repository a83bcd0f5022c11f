#include "platform/compositing.h"

#include <cstdlib>

#include <QByteArray>

#include "platform/x11/xconnection.h"

namespace platform {

bool isCompositingActive()
{
    const XConnection *x = XConnection::instance();
    if (!x)
        return true; // not on X: the platform blends, or nothing is shown
    xcb_connection_t *conn = x->connection();
    // A compositing manager owns the selection _NET_WM_CM_S<screen>; the
    // program's windows live on the first screen, as XConnection's root.
    const QByteArray name("_NET_WM_CM_S0");
    xcb_intern_atom_reply_t *atomReply =
        xcb_intern_atom_reply(conn, xcb_intern_atom(conn, 1, uint16_t(name.size()), name.constData()), nullptr);
    if (!atomReply)
        return false;
    const xcb_atom_t atom = atomReply->atom;
    std::free(atomReply);
    if (atom == XCB_ATOM_NONE)
        return false;
    xcb_get_selection_owner_reply_t *owner =
        xcb_get_selection_owner_reply(conn, xcb_get_selection_owner(conn, atom), nullptr);
    const bool active = owner && owner->owner != XCB_WINDOW_NONE;
    std::free(owner);
    return active;
}

} // namespace platform
