// Owns the clipboard with the data given on its command line until another
// program takes it over or it is killed. Prints "ready" once it owns it. It
// never forks, so the owner window belongs to the pid its parent started.
//
//   --text T | --text-file <UTF-8 file> | --empty-text   plain text
//   --html H                     HTML
//   --urls u1,u2                 URLs; a leading / is a local file
//   --image WxH                  a generated image
//   --data mime=value            any format, repeatable
//   --icon-window                owns it from a window on screen that announces
//                                an icon in 16, 32 and 48 px (red, green, blue)
//
// Built as iconowner, the command line is just the text: `iconowner [text]`.

#include <cstdio>
#include <utility>

#include <QClipboard>
#include <QCommandLineParser>
#include <QFile>
#include <QGuiApplication>
#include <QIcon>
#include <QImage>
#include <QMimeData>
#include <QPixmap>
#include <QRasterWindow>
#include <QUrl>

namespace {
int fail(const QString &message)
{
    std::fprintf(stderr, "clipowner: %s\n", qPrintable(message));
    return 2;
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
#ifdef ICONOWNER
    parser.process(
        {app.arguments().at(0), "--icon-window", "--text", app.arguments().value(1, "icon owner text")});
#else
    parser.process(app);
#endif

    auto *mimeData = new QMimeData;
    if (parser.isSet("text"))
        mimeData->setText(parser.value("text"));
    if (parser.isSet("text-file")) {
        QFile file(parser.value("text-file"));
        if (!file.open(QIODevice::ReadOnly))
            return fail("cannot read " + file.fileName());
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
    if (parser.isSet("image")) {
        const QStringList size = parser.value("image").split('x');
        const int width = size.value(0).toInt(), height = size.value(1).toInt();
        if (size.size() != 2 || width <= 0 || height <= 0)
            return fail("bad image size " + parser.value("image"));
        // Not a flat colour, so that the PNG is not trivially small.
        QImage image(width, height, QImage::Format_ARGB32);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                image.setPixel(x, y, qRgb((x * 255) / width, (y * 255) / height, (x ^ y) & 0xFF));
        mimeData->setImageData(image);
    }
    for (const QString &entry : parser.values("data")) {
        const qsizetype equals = entry.indexOf('=');
        if (equals <= 0)
            return fail("bad data " + entry);
        mimeData->setData(entry.left(equals), entry.mid(equals + 1).toUtf8());
    }

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
    clipboard->setMimeData(mimeData, QClipboard::Clipboard);
    if (!clipboard->ownsClipboard())
        return fail("could not take the clipboard");
    // Losing the clipboard to someone else is the normal end.
    QObject::connect(clipboard, &QClipboard::dataChanged, &app, [clipboard] {
        if (!clipboard->ownsClipboard())
            QCoreApplication::quit();
    });
    std::printf("ready\n");
    std::fflush(stdout);
    return app.exec();
}
