#pragma once

#include <QByteArray>
#include <QList>

#include "item/ocrresult.h"

class QImage;

// The engine's answers arrive as a byte stream; this cuts it into JSON
// documents. A document may come in several reads, one read may carry
// several, and a document ends at its closing brace or at a line break,
// whichever comes first. What stands outside braces up to a line break
// (chatter) comes out as a document of its own.
class OcrAnswerBuffer
{
public:
    // Appends `bytes` and returns every document completed by them, in order.
    QList<QByteArray> append(const QByteArray &bytes);

private:
    QByteArray pending;
    int depth = 0;
    bool inString = false;
    bool escaped = false;
};

// Reads one answer document. Returns false, and leaves both outputs alone,
// for anything but a success answer with a "data" array; chatter without
// the word "code" is not parsed at all.
bool parseOcrAnswer(const QByteArray &document, uint &hashValue, QList<OCRResult> &results);

// The request line for one image, without its newline: compact JSON with the
// hash as a decimal string and the picture as Base64 PNG. Empty when the
// picture cannot be encoded.
QByteArray buildOcrRequest(uint hashValue, const QImage &image);
