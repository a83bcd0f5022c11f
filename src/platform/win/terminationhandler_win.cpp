#include "platform/terminationhandler.h"

#include <QtGlobal>

namespace platform {

// The end of a Windows session reaches Qt as a message and ends the event
// loop through the application object; there is nothing to translate.
void installTerminationHandler(QObject *context, std::function<void(int signal)> onRequest)
{
    Q_UNUSED(context)
    Q_UNUSED(onRequest)
}

} // namespace platform
