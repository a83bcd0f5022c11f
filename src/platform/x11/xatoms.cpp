#include "platform/x11/xatoms.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include <QByteArray>
#include <QHash>

namespace platform {

xcb_atom_t XAtoms::get(xcb_connection_t *connection, const char *name)
{
    // Keyed by connection too: a test may build a second application object.
    static QHash<QByteArray, xcb_atom_t> atoms;
    static xcb_connection_t *owner = nullptr;
    if (owner != connection) {
        atoms.clear();
        owner = connection;
    }
    const QByteArray key(name);
    const auto it = atoms.constFind(key);
    if (it != atoms.constEnd())
        return *it;

    const xcb_intern_atom_cookie_t cookie =
        xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(name)), name);
    std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
        xcb_intern_atom_reply(connection, cookie, nullptr), &std::free);
    const xcb_atom_t atom = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    // A failed request is tried again next time rather than remembered.
    if (atom != XCB_ATOM_NONE)
        atoms.insert(key, atom);
    return atom;
}

} // namespace platform
