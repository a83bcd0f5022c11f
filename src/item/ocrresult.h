#pragma once

#include <QList>
#include <QMetaType>
#include <QPolygon>
#include <QString>

// One text box recognised in an image: its corners in image pixels, in the
// order the engine gave them, and its text.
struct OCRResult
{
    QPolygon box;
    QString text;

    bool operator==(const OCRResult &other) const { return box == other.box && text == other.text; }
};

Q_DECLARE_METATYPE(OCRResult)
