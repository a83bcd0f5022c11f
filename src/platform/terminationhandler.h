#pragma once

#include <functional>

class QObject;

namespace platform {

// Turns the system's requests to end the program (on Linux SIGTERM, SIGINT
// and SIGHUP, as sent at logout or by `kill`) into a call of `onRequest` on
// the thread of `context`, once its event loop runs. `context` must live in
// the main thread and outlive the program's loop; the argument is the
// signal number. Where the session end reaches Qt on its own, nothing is
// installed.
void installTerminationHandler(QObject *context, std::function<void(int signal)> onRequest);

} // namespace platform
