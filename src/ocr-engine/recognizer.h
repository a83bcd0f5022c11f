#pragma once

#include <QImage>
#include <QList>
#include <QRect>
#include <QString>

#include <memory>

namespace tesseract {
class TessBaseAPI;
}

// One line of text found in a picture, with its box in the pixels of the
// picture that was recognised.
struct RecognisedLine
{
    QRect box;
    QString text;
};

// One recognition model set, loaded on demand and let go on request. Not
// thread-safe: use one per thread.
class Recognizer
{
public:
    Recognizer();
    ~Recognizer();

    // Loads the models unless they are loaded; false with `error` set when
    // the language data cannot be read.
    bool load(QString &error);
    void unload();
    bool isLoaded() const { return api != nullptr; }

    // Recognises an 8-bit grey picture with dark text on a light ground.
    QList<RecognisedLine> recognise(const QImage &grey, int dotsPerInch);

private:
    std::unique_ptr<tesseract::TessBaseAPI> api;
};
