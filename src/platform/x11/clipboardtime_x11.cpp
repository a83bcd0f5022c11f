#include "platform/windowsystem.h"

#include <cstdlib>

#include <poll.h>

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QScreen>
#include <qpa/qplatformnativeinterface.h>

#include "platform/x11/xconnection.h"

namespace platform {

namespace {

// The server gives its time only in events, and Qt's own connection hands
// every event to Qt's reader thread. So a second connection of ours changes
// a property of a window and waits for the notice that carries the time.
class ServerClock
{
public:
    // Null when there is no X connection, or the second connection does not
    // reach the server that Qt talks to.
    static ServerClock *instance()
    {
        const XConnection *x = XConnection::instance();
        if (!x)
            return nullptr;
        static ServerClock clock(x);
        return clock.watched ? &clock : nullptr;
    }

    // The server's time now; 0 when it did not answer within the bound.
    xcb_timestamp_t now()
    {
        xcb_change_property(own, XCB_PROP_MODE_APPEND, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, 0,
                            nullptr);
        xcb_flush(own);
        ++changes;
        QElapsedTimer waited;
        waited.start();
        // A notice of an earlier change that came too late may come first;
        // only the notice of this change tells the present.
        xcb_timestamp_t time = 0;
        for (;;) {
            while (xcb_generic_event_t *event = xcb_poll_for_event(own)) {
                if ((event->response_type & 0x7F) == XCB_PROPERTY_NOTIFY &&
                    reinterpret_cast<xcb_property_notify_event_t *>(event)->window == window) {
                    time = reinterpret_cast<xcb_property_notify_event_t *>(event)->time;
                    ++notices;
                }
                std::free(event);
            }
            if (notices == changes)
                return time;
            const qint64 left = kAnswerBoundMs - waited.elapsed();
            if (left <= 0 || xcb_connection_has_error(own))
                return 0;
            pollfd descriptor{xcb_get_file_descriptor(own), POLLIN, 0};
            poll(&descriptor, 1, static_cast<int>(left));
        }
    }

private:
    // A local server answers in well under a millisecond.
    static constexpr qint64 kAnswerBoundMs = 100;

    explicit ServerClock(const XConnection *x)
    {
        // The window is made on Qt's connection: if the second connection
        // went to another display (Qt may have been given -display), it has
        // no such window and refuses to watch it.
        xcb_connection_t *qt = x->connection();
        window = xcb_generate_id(qt);
        xcb_create_window(qt, 0, window, x->rootWindow(), 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                          XCB_COPY_FROM_PARENT, 0, nullptr);
        xcb_flush(qt);
        own = xcb_connect(nullptr, nullptr);
        if (xcb_connection_has_error(own))
            return;
        // The window exists once Qt's connection has been answered.
        std::free(xcb_get_input_focus_reply(qt, xcb_get_input_focus(qt), nullptr));
        const quint32 mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_generic_error_t *error = xcb_request_check(
            own, xcb_change_window_attributes_checked(own, window, XCB_CW_EVENT_MASK, &mask));
        watched = !error;
        std::free(error);
    }

    xcb_connection_t *own = nullptr;
    xcb_window_t window = XCB_WINDOW_NONE;
    bool watched = false;
    quint64 changes = 0;
    quint64 notices = 0;
};

} // namespace

bool advanceClipboardTime()
{
    ServerClock *clock = ServerClock::instance();
    QPlatformNativeInterface *native = QGuiApplication::platformNativeInterface();
    QScreen *screen = QGuiApplication::primaryScreen();
    if (!clock || !native || !screen)
        return false;
    // Qt's xcb plugin takes the time its requests carry from here; it only
    // ever moves the time forward.
    using SetAppTime = void (*)(QScreen *, xcb_timestamp_t);
    const auto setAppTime = reinterpret_cast<SetAppTime>(
        reinterpret_cast<void *>(native->nativeResourceFunctionForScreen("setapptime")));
    const xcb_timestamp_t now = setAppTime ? clock->now() : 0;
    if (now == 0)
        return false;
    setAppTime(screen, now);
    return true;
}

} // namespace platform
