#pragma once

#include "common/log.h"

#include <QMetaObject>
#include <QObject>

#include <exception>

namespace detail {
class ApplicationExceptionHandlerBase : public QObject
{
    Q_OBJECT
protected:
    using QObject::QObject;

private slots:
    void exitSlot(int exitCode);
};
} // namespace detail

// The exception net around every event: an exception out of a handler is
// logged, and the program ends with exit code 1 once the event is done.
template <class Application>
class ApplicationExceptionHandler : public detail::ApplicationExceptionHandlerBase, public Application
{
public:
    ApplicationExceptionHandler(int &argc, char **argv) : Application(argc, argv) {}

    bool notify(QObject *receiver, QEvent *event) override
    {
        try {
            return Application::notify(receiver, event);
        } catch (const std::exception &e) {
            logException(QString::fromUtf8(e.what()));
        } catch (...) {
            logException();
        }
        QMetaObject::invokeMethod(static_cast<detail::ApplicationExceptionHandlerBase *>(this), "exitSlot",
                                  Qt::QueuedConnection, Q_ARG(int, 1));
        return true;
    }
};
