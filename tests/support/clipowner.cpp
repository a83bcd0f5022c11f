// Owns the clipboard with the data given on its command line until another
// program takes it over or it is killed. Prints "ready" once it owns it. It
// never forks, so the owner window belongs to the pid its parent started.
//
//   --text T | --text-file <UTF-8 file> | --empty-text   plain text
//   --html H                     HTML
//   --urls u1,u2                 URLs; a leading / is a local file
//   --image WxH | <file>         a generated image, or one read from a file
//   --data mime=value            any format, repeatable
//   --icon-window                owns it from a window on screen that announces
//                                an icon in 16, 32 and 48 px (red, green, blue)
//   --burst                      sets it anew every 5 ms while it owns it
//   --until-asked                until a program has read its data, takes the clipboard
//                                back when it is lost and sets it anew after every
//                                question for its formats, so that a read stamped with
//                                the time of an earlier change is refused; ends after
//                                50 such questions with no read (exit code 3)
//
// Built as iconowner, the command line is just the text: `iconowner [text]`.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <utility>

#include <QAbstractNativeEventFilter>
#include <QClipboard>
#include <QCommandLineParser>
#include <QFile>
#include <QGuiApplication>
#include <QIcon>
#include <QImage>
#include <QMimeData>
#include <QPixmap>
#include <QRasterWindow>
#include <QTimer>
#include <QUrl>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>

namespace {
int fail(const QString &message)
{
    std::fprintf(stderr, "clipowner: %s\n", qPrintable(message));
    return 2;
}

// Tells when another program reads it.
class WatchedData : public QMimeData
{
public:
    std::function<void()> onRead;

protected:
    QVariant retrieveData(const QString &mimeType, QMetaType type) const override
    {
        if (onRead)
            onRead();
        return QMimeData::retrieveData(mimeType, type);
    }
};

xcb_connection_t *xConnection()
{
    auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

xcb_atom_t atom(const char *name)
{
    xcb_connection_t *conn = xConnection();
    if (!conn)
        return XCB_ATOM_NONE;
    xcb_intern_atom_reply_t *reply =
        xcb_intern_atom_reply(conn, xcb_intern_atom(conn, 0, std::strlen(name), name), nullptr);
    const xcb_atom_t atom = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    std::free(reply);
    return atom;
}

// Tells of each question for the formats offered that reaches this program.
class FormatsWatch : public QAbstractNativeEventFilter
{
public:
    std::function<void()> onAsked;

    bool nativeEventFilter(const QByteArray &, void *message, qintptr *) override
    {
        static const xcb_atom_t targets = atom("TARGETS");
        const auto *event = static_cast<const xcb_generic_event_t *>(message);
        if ((event->response_type & 0x7F) == XCB_SELECTION_REQUEST &&
            reinterpret_cast<const xcb_selection_request_event_t *>(event)->target == targets && onAsked)
            onAsked();
        return false;
    }
};

// Whether a window of this process owns the clipboard, asked of the X server:
// Qt's own idea misses a loss to an owner that took it with the same time stamp.
bool ownsClipboard()
{
    xcb_connection_t *conn = xConnection();
    if (!conn)
        return false;
    static const xcb_atom_t clipboardAtom = atom("CLIPBOARD");
    xcb_get_selection_owner_reply_t *reply =
        xcb_get_selection_owner_reply(conn, xcb_get_selection_owner(conn, clipboardAtom), nullptr);
    const xcb_window_t owner = reply ? reply->owner : xcb_window_t(XCB_NONE);
    std::free(reply);
    // The server hands each client its window ids from a range of its own.
    const xcb_setup_t *setup = xcb_get_setup(conn);
    return owner != XCB_NONE && (owner & ~setup->resource_id_mask) == setup->resource_id_base;
}

// The data the command line asks for; null, with the reason, when it is bad.
WatchedData *makeData(const QCommandLineParser &parser, QString &failure)
{
    auto mimeData = std::make_unique<WatchedData>();
    if (parser.isSet("text"))
        mimeData->setText(parser.value("text"));
    if (parser.isSet("text-file")) {
        QFile file(parser.value("text-file"));
        if (!file.open(QIODevice::ReadOnly)) {
            failure = "cannot read " + file.fileName();
            return nullptr;
        }
        mimeData->setText(QString::fromUtf8(file.readAll()));
    }
    if (parser.isSet("empty-text"))
        mimeData->setText(QString());
    if (parser.isSet("html"))
        mimeData->setHtml(parser.value("html"));
    if (parser.isSet("urls")) {
        QList<QUrl> urls;
        for (const QString &part : parser.value("urls").split(',', Qt::SkipEmptyParts))
            urls << (part.startsWith('/') ? QUrl::fromLocalFile(part) : QUrl(part));
        mimeData->setUrls(urls);
    }
    if (parser.isSet("image") && QFile::exists(parser.value("image"))) {
        mimeData->setImageData(QImage(parser.value("image")));
    } else if (parser.isSet("image")) {
        const QStringList size = parser.value("image").split('x');
        const int width = size.value(0).toInt(), height = size.value(1).toInt();
        if (size.size() != 2 || width <= 0 || height <= 0) {
            failure = "bad image size " + parser.value("image");
            return nullptr;
        }
        // Not a flat colour, so that the PNG is not trivially small.
        QImage image(width, height, QImage::Format_ARGB32);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                image.setPixel(x, y, qRgb((x * 255) / width, (y * 255) / height, (x ^ y) & 0xFF));
        mimeData->setImageData(image);
    }
    for (const QString &entry : parser.values("data")) {
        // Each parameter of the MIME type (";charset=utf-8") brings an '=' of its own.
        qsizetype equals = entry.indexOf('=');
        for (qsizetype parameters = entry.left(equals).count(';'); parameters > 0 && equals > 0; --parameters)
            equals = entry.indexOf('=', equals + 1);
        if (equals <= 0) {
            failure = "bad data " + entry;
            return nullptr;
        }
        mimeData->setData(entry.left(equals), entry.mid(equals + 1).toUtf8());
    }
    return mimeData.release();
}
} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    QCommandLineParser parser;
    for (const char *name : {"text", "text-file", "html", "urls", "image", "data"})
        parser.addOption({name, name, "value"});
    parser.addOption({"empty-text", "An empty text."});
    parser.addOption({"icon-window", "Owns it from a window with an icon."});
    parser.addOption({"burst", "Sets it anew every 5 ms while it owns it."});
    parser.addOption({"until-asked", "Holds it, and sets it anew, until its data was read."});
#ifdef ICONOWNER
    parser.process(
        {app.arguments().at(0), "--icon-window", "--text", app.arguments().value(1, "icon owner text")});
#else
    parser.process(app);
#endif

    bool asked = false;
    QString failure;
    // Made anew for every take: the clipboard owns and deletes what it was given.
    const auto take = [&] {
        WatchedData *data = makeData(parser, failure);
        if (!data)
            return false;
        data->onRead = [&asked] { asked = true; };
        QGuiApplication::clipboard()->setMimeData(data, QClipboard::Clipboard);
        return true;
    };

    QRasterWindow window;
    if (parser.isSet("icon-window")) {
        QIcon icon;
        for (const auto &[size, color] :
             {std::pair{16, Qt::red}, std::pair{32, Qt::green}, std::pair{48, Qt::blue}}) {
            QPixmap pixmap(size, size);
            pixmap.fill(color);
            icon.addPixmap(pixmap);
        }
        window.setTitle("icon owner");
        window.setIcon(icon);
        window.resize(200, 100);
        window.show();
        while (!window.isExposed())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }

    QClipboard *clipboard = QGuiApplication::clipboard();
    if (!take())
        return fail(failure);
    if (!clipboard->ownsClipboard())
        return fail("could not take the clipboard");
    // A burst goes on while this program owns the clipboard.
    QTimer burst;
    QObject::connect(&burst, &QTimer::timeout, [&] {
        if (ownsClipboard())
            take();
        else
            burst.stop();
    });
    if (parser.isSet("burst"))
        burst.start(5);
    // Until its data has been read, every question for its formats is
    // followed by a take, once the question has been answered; and a
    // clipboard taken away, or never got for a stale time stamp, is taken back.
    FormatsWatch formats;
    QTimer guard;
    int questionsLeft = 50;
    if (parser.isSet("until-asked")) {
        formats.onAsked = [&] {
            QTimer::singleShot(0, &app, [&] {
                if (asked)
                    return;
                if (--questionsLeft < 0) {
                    std::fprintf(stderr, "clipowner: nobody read it, giving up\n");
                    QCoreApplication::exit(3);
                    return;
                }
                take();
            });
        };
        app.installNativeEventFilter(&formats);
        QObject::connect(&guard, &QTimer::timeout, [&] {
            if (asked)
                guard.stop();
            else if (!ownsClipboard())
                take();
        });
        guard.start(2);
    }
    // Losing the clipboard to someone else is the normal end.
    QObject::connect(clipboard, &QClipboard::dataChanged, &app, [&] {
        if (!clipboard->ownsClipboard() && !burst.isActive() && !guard.isActive())
            QCoreApplication::quit();
    });
    std::printf("ready\n");
    std::fflush(stdout);
    return app.exec();
}
