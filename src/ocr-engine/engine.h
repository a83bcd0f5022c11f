#pragma once

#include <QByteArray>
#include <QList>

#include "recognizer.h"

struct PreparedImage;

// Turns request lines into answer documents. The models are loaded with
// the first request and kept until `releaseModels`.
class Engine
{
public:
    // With `halves`, a picture with a blank row near its middle is read as
    // two halves side by side, on two threads.
    explicit Engine(bool halves);

    // The answer to one request line, newline included. Failures are told
    // on standard error as one line each.
    QByteArray answer(const QByteArray &requestLine);

    bool hasModels() const { return recognizers[0].isLoaded(); }
    void releaseModels();

private:
    QList<RecognisedLine> recognise(const PreparedImage &prepared);

    bool halves;
    Recognizer recognizers[2];
};
