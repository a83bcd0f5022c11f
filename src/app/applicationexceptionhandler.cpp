#include "app/applicationexceptionhandler.h"

#include <QCoreApplication>

namespace detail {

void ApplicationExceptionHandlerBase::exitSlot(int exitCode)
{
    QCoreApplication::exit(exitCode);
}

} // namespace detail
