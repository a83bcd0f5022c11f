#include "platform/localsocketname.h"

namespace platform {

QString localSocketName(const QString &name)
{
    // Named pipes live in their own namespace and vanish with their owner;
    // QLocalServer::UserAccessOption keeps other users out.
    return name;
}

} // namespace platform
