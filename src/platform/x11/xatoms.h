#pragma once

#include <xcb/xcb.h>

namespace platform {

// Atoms interned on first use and kept for the life of the connection, for
// the lookups that XConnection does not prepare.
class XAtoms
{
public:
    // XCB_ATOM_NONE when the server refuses the name.
    static xcb_atom_t get(xcb_connection_t *connection, const char *name);
};

} // namespace platform
