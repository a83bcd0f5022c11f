#include "common/textutils.h"

#include <random>

#include <QBuffer>
#include <QDateTime>
#include <QPixmap>
#include <QRegularExpression>

#include "common/mime.h"

bool isUrl(const QString &text)
{
    static const QRegularExpression urlPattern(QStringLiteral("^(https?|ftp)://[^\\s/$.?#].[^\\s]*$"));
    return urlPattern.match(text).hasMatch();
}

bool isNotBlank(const QString &text)
{
    return !text.trimmed().isEmpty();
}

QString imageFormatOf(const QString &mime)
{
    if (mime.size() <= MIME_IMAGE_PREFIX.size() || !mime.startsWith(MIME_IMAGE_PREFIX))
        return QString();
    return mime.mid(MIME_IMAGE_PREFIX.size());
}

QString randomString(int length)
{
    static const QLatin1String alphabet("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789");
    std::mt19937 generate(quint32(QDateTime::currentMSecsSinceEpoch()));
    QString result;
    result.reserve(qMax(length, 0));
    for (int i = 0; i < length; ++i)
        result.append(QLatin1Char(alphabet[int(generate() % 36)]));
    return result;
}

bool pixmapToPng(const QPixmap &pixmap, QByteArray &bytes)
{
    bytes.clear();
    QBuffer buffer(&bytes);
    if (!buffer.open(QIODevice::WriteOnly))
        return false;
    return pixmap.save(&buffer, "PNG", -1);
}
