#pragma once

#include <QByteArray>
#include <QString>

class QPixmap;

bool isUrl(const QString &text);
bool isNotBlank(const QString &text);
// "png" for "image/png"; empty when there is nothing after the prefix.
QString imageFormatOf(const QString &mime);
QString randomString(int length);
bool pixmapToPng(const QPixmap &pixmap, QByteArray &bytes);
