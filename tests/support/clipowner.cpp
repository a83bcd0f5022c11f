// Owns the clipboard with the data given on its command line until another
// program takes it over or it is killed. Prints "ready" once it owns it. It
// never forks, so the owner window belongs to the pid its parent started.

#include <cstdio>

#include <QClipboard>
#include <QColor>
#include <QCommandLineParser>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QMimeData>
#include <QPainter>
#include <QUrl>

namespace {

QImage makeImage(const QString &size)
{
    const QStringList parts = size.split(QLatin1Char('x'));
    const int width = parts.value(0).toInt();
    const int height = parts.value(1).toInt();
    if (parts.size() != 2 || width <= 0 || height <= 0)
        return QImage();
    QImage image(width, height, QImage::Format_ARGB32);
    // Not a flat colour, so that the PNG is not trivially small.
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y, qRgb((x * 255) / width, (y * 255) / height, (x ^ y) & 0xFF));
    return image;
}

QUrl toUrl(const QString &text)
{
    return text.startsWith(QLatin1Char('/')) ? QUrl::fromLocalFile(text) : QUrl(text);
}

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
    parser.setApplicationDescription(QStringLiteral("Sets the clipboard and keeps owning it."));
    parser.addHelpOption();
    const QCommandLineOption textOption(QStringLiteral("text"), QStringLiteral("Plain text."),
                                        QStringLiteral("T"));
    const QCommandLineOption textFileOption(QStringLiteral("text-file"),
                                            QStringLiteral("Plain text read from a UTF-8 file."),
                                            QStringLiteral("path"));
    const QCommandLineOption emptyTextOption(QStringLiteral("empty-text"), QStringLiteral("An empty text."));
    const QCommandLineOption htmlOption(QStringLiteral("html"), QStringLiteral("HTML."), QStringLiteral("H"));
    const QCommandLineOption urlsOption(QStringLiteral("urls"),
                                        QStringLiteral("Comma separated URLs; a leading / is a local file."),
                                        QStringLiteral("u1,u2"));
    const QCommandLineOption imageOption(QStringLiteral("image"), QStringLiteral("A generated image."),
                                         QStringLiteral("WxH"));
    const QCommandLineOption dataOption(QStringLiteral("data"), QStringLiteral("Any format, repeatable."),
                                        QStringLiteral("mime=value"));
    parser.addOptions(
        {textOption, textFileOption, emptyTextOption, htmlOption, urlsOption, imageOption, dataOption});
    parser.process(app);

    auto *mimeData = new QMimeData;
    if (parser.isSet(textOption))
        mimeData->setText(parser.value(textOption));
    if (parser.isSet(textFileOption)) {
        QFile file(parser.value(textFileOption));
        if (!file.open(QIODevice::ReadOnly))
            return fail(QStringLiteral("cannot read %1").arg(file.fileName()));
        mimeData->setText(QString::fromUtf8(file.readAll()));
    }
    if (parser.isSet(emptyTextOption))
        mimeData->setText(QString());
    if (parser.isSet(htmlOption))
        mimeData->setHtml(parser.value(htmlOption));
    if (parser.isSet(urlsOption)) {
        QList<QUrl> urls;
        for (const QString &part : parser.value(urlsOption).split(QLatin1Char(','), Qt::SkipEmptyParts))
            urls.append(toUrl(part));
        mimeData->setUrls(urls);
    }
    if (parser.isSet(imageOption)) {
        const QImage image = makeImage(parser.value(imageOption));
        if (image.isNull())
            return fail(QStringLiteral("bad image size %1").arg(parser.value(imageOption)));
        mimeData->setImageData(image);
    }
    for (const QString &entry : parser.values(dataOption)) {
        const qsizetype equals = entry.indexOf(QLatin1Char('='));
        if (equals <= 0)
            return fail(QStringLiteral("bad data %1").arg(entry));
        mimeData->setData(entry.left(equals), entry.mid(equals + 1).toUtf8());
    }

    QClipboard *clipboard = QGuiApplication::clipboard();
    clipboard->setMimeData(mimeData, QClipboard::Clipboard);
    if (!clipboard->ownsClipboard())
        return fail(QStringLiteral("could not take the clipboard"));
    // Losing the clipboard to someone else is the normal end.
    QObject::connect(clipboard, &QClipboard::dataChanged, &app, [clipboard] {
        if (!clipboard->ownsClipboard())
            QCoreApplication::quit();
    });
    std::printf("ready\n");
    std::fflush(stdout);
    return app.exec();
}
