#pragma once

#include <QString>

namespace platform {

// The full name a local server listens on and a local socket connects to
// for `name`: private to the current user where the system keeps sockets
// as files (a path in the user's runtime folder), the plain name where it
// does not.
QString localSocketName(const QString &name);

} // namespace platform
