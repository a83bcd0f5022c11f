// Build-time tool: renders the SVG drawings of this folder into the PNG
// images and the ICO file that the style sheets and the window icon use.
//
//   vorlik_iconrender png <in.svg> <out.png> <width> <height> [<ink> <background>]...
//   vorlik_iconrender ico <in.svg> <out.ico> <size>...
//
// With ink / background pairs the glyph is drawn once per pair, side by side,
// every "#000000" of the drawing replaced by the ink colour and the cell
// filled with the background ("none" leaves it transparent). That makes the
// sprites of the window buttons and the state images of the tool buttons
// from one drawing each. Without pairs the drawing is rendered as it is.

#include <cstdio>

#include <QByteArray>
#include <QColor>
#include <QDataStream>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QStringList>
#include <QSvgRenderer>

namespace {

int fail(const QString &message)
{
    std::fprintf(stderr, "iconrender: %s\n", qPrintable(message));
    return 1;
}

bool readFile(const QString &path, QByteArray *data)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    *data = file.readAll();
    return true;
}

bool renderCell(const QByteArray &svg, QPainter *painter, const QRectF &cell)
{
    QSvgRenderer renderer(svg);
    if (!renderer.isValid())
        return false;
    renderer.render(painter, cell);
    return true;
}

int renderPng(const QStringList &args)
{
    if (args.size() < 4 || args.size() % 2 != 0)
        return fail(QStringLiteral("png needs <in.svg> <out.png> <width> <height> [<ink> <background>]..."));
    QByteArray svg;
    if (!readFile(args.at(0), &svg))
        return fail(QStringLiteral("cannot read %1").arg(args.at(0)));
    const int width = args.at(2).toInt();
    const int height = args.at(3).toInt();
    if (width <= 0 || height <= 0)
        return fail(QStringLiteral("bad size %1x%2").arg(args.at(2), args.at(3)));

    const QStringList states = args.mid(4);
    const int cells = states.isEmpty() ? 1 : int(states.size() / 2);
    QImage image(width * cells, height, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    for (int i = 0; i < cells; ++i) {
        const QRectF cell(i * width, 0, width, height);
        QByteArray drawing = svg;
        if (!states.isEmpty()) {
            const QColor ink(states.at(2 * i));
            const QString background = states.at(2 * i + 1);
            if (!ink.isValid())
                return fail(QStringLiteral("bad ink colour %1").arg(states.at(2 * i)));
            if (background != QLatin1String("none")) {
                const QColor fill(background);
                if (!fill.isValid())
                    return fail(QStringLiteral("bad background %1").arg(background));
                painter.fillRect(cell, fill);
            }
            drawing.replace("#000000", ink.name(QColor::HexRgb).toLatin1());
        }
        if (!renderCell(drawing, &painter, cell))
            return fail(QStringLiteral("not a valid drawing: %1").arg(args.at(0)));
    }
    painter.end();
    if (!image.save(args.at(1), "PNG"))
        return fail(QStringLiteral("cannot write %1").arg(args.at(1)));
    return 0;
}

// An ICO of 32-bit device-independent bitmaps, one per size. The alpha
// channel carries the shape; the AND mask is present but empty.
int renderIco(const QStringList &args)
{
    if (args.size() < 3)
        return fail(QStringLiteral("ico needs <in.svg> <out.ico> <size>..."));
    QByteArray svg;
    if (!readFile(args.at(0), &svg))
        return fail(QStringLiteral("cannot read %1").arg(args.at(0)));

    QList<QByteArray> images;
    QList<int> sizes;
    for (const QString &arg : args.mid(2)) {
        const int size = arg.toInt();
        if (size <= 0 || size > 255)
            return fail(QStringLiteral("bad icon size %1").arg(arg));
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        if (!renderCell(svg, &painter, QRectF(0, 0, size, size)))
            return fail(QStringLiteral("not a valid drawing: %1").arg(args.at(0)));
        painter.end();
        image = image.convertToFormat(QImage::Format_ARGB32);

        const int maskStride = ((size + 31) / 32) * 4;
        QByteArray dib;
        QDataStream out(&dib, QIODevice::WriteOnly);
        out.setByteOrder(QDataStream::LittleEndian);
        out << quint32(40) << qint32(size) << qint32(size * 2) << quint16(1) << quint16(32) << quint32(0)
            << quint32(size * size * 4 + maskStride * size) << qint32(0) << qint32(0) << quint32(0)
            << quint32(0);
        for (int y = size - 1; y >= 0; --y) {
            const auto *line = reinterpret_cast<const QRgb *>(image.constScanLine(y));
            for (int x = 0; x < size; ++x)
                out << quint8(qBlue(line[x])) << quint8(qGreen(line[x])) << quint8(qRed(line[x]))
                    << quint8(qAlpha(line[x]));
        }
        dib.append(QByteArray(maskStride * size, '\0'));
        images.append(dib);
        sizes.append(size);
    }

    QByteArray ico;
    QDataStream out(&ico, QIODevice::WriteOnly);
    out.setByteOrder(QDataStream::LittleEndian);
    out << quint16(0) << quint16(1) << quint16(images.size());
    quint32 offset = 6 + 16 * quint32(images.size());
    for (int i = 0; i < images.size(); ++i) {
        out << quint8(sizes.at(i)) << quint8(sizes.at(i)) << quint8(0) << quint8(0) << quint16(1)
            << quint16(32) << quint32(images.at(i).size()) << offset;
        offset += quint32(images.at(i).size());
    }
    for (const QByteArray &image : images)
        ico.append(image);

    QFile file(args.at(1));
    if (!file.open(QIODevice::WriteOnly) || file.write(ico) != ico.size())
        return fail(QStringLiteral("cannot write %1").arg(args.at(1)));
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    QStringList args;
    for (int i = 1; i < argc; ++i)
        args.append(QString::fromLocal8Bit(argv[i]));
    if (args.isEmpty())
        return fail(QStringLiteral("usage: png|ico ..."));
    const QString mode = args.takeFirst();
    if (mode == QLatin1String("png"))
        return renderPng(args);
    if (mode == QLatin1String("ico"))
        return renderIco(args);
    return fail(QStringLiteral("unknown mode %1").arg(mode));
}
