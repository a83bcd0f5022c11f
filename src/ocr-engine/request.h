#pragma once

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QString>

#include "recognizer.h"

// The answer codes; only success carries text.
enum AnswerCode {
    AnswerSuccess = 100,
    AnswerBadRequest = 101,     // not JSON, or no picture in it
    AnswerBadImage = 102,       // the picture cannot be decoded
    AnswerImageSize = 103,      // too small to hold text, or too large to read
    AnswerEngineFailure = 104,  // the language data cannot be loaded
};

// One request line, read: the hash to echo and the picture, or why there is
// none.
struct Request
{
    QString hashValue;
    QImage image;
    AnswerCode code = AnswerSuccess;
    QString error;
};

Request parseRequest(const QByteArray &line);

// The answer document with its closing newline, for lines found in the
// picture as sent.
QByteArray answerDocument(AnswerCode code, const QString &hashValue, const QList<RecognisedLine> &lines);
