#include "engine.h"

#include <cstdio>
#include <thread>

#include "imageprep.h"
#include "platform/memory.h"
#include "request.h"

namespace {
// Recognition works on the enlarged picture at this resolution; telling it
// keeps the library from guessing, and from saying so.
constexpr int enlargedDotsPerInch = 144;
// Halves of less than this many rows are not worth a second thread.
constexpr int smallestHalf = 300;

void reportFailure(const QString &error)
{
    std::fprintf(stderr, "%s\n", error.toUtf8().constData());
    std::fflush(stderr);
}

// Moves boxes of the prepared picture, cut at `top`, back into the pixels
// of the picture that was sent.
void toSentPixels(QList<RecognisedLine> &lines, int top, int scale)
{
    for (RecognisedLine &line : lines) {
        const QRect &box = line.box.translated(0, top);
        line.box = QRect(QPoint(box.left() / scale, box.top() / scale),
                         QPoint((box.right() + 1) / scale - 1, (box.bottom() + 1) / scale - 1));
    }
}
} // namespace

Engine::Engine(bool halves) : halves(halves) {}

void Engine::releaseModels()
{
    recognizers[0].unload();
    recognizers[1].unload();
    platform::releaseFreedMemory();
}

QByteArray Engine::answer(const QByteArray &requestLine)
{
    const Request request = parseRequest(requestLine);
    if (request.code != AnswerSuccess) {
        reportFailure(request.error);
        return answerDocument(request.code, request.hashValue, {});
    }
    QString error;
    if (!recognizers[0].load(error)) {
        reportFailure(error);
        return answerDocument(AnswerEngineFailure, request.hashValue, {});
    }
    return answerDocument(AnswerSuccess, request.hashValue, recognise(prepareForRecognition(request.image)));
}

QList<RecognisedLine> Engine::recognise(const PreparedImage &prepared)
{
    const QImage &grey = prepared.grey;
    const int cut = halves && grey.height() >= 2 * smallestHalf ? blankRowNearMiddle(grey) : -1;
    const int dotsPerInch = enlargedDotsPerInch * prepared.scale / 2;
    QString error;
    if (cut < smallestHalf || grey.height() - cut < smallestHalf || !recognizers[1].load(error)) {
        QList<RecognisedLine> lines = recognizers[0].recognise(grey, dotsPerInch);
        toSentPixels(lines, 0, prepared.scale);
        return lines;
    }

    // Both halves are read at once; the top one comes first in the answer,
    // as it would in reading order.
    const QImage top = grey.copy(0, 0, grey.width(), cut);
    const QImage bottom = grey.copy(0, cut, grey.width(), grey.height() - cut);
    QList<RecognisedLine> bottomLines;
    std::thread second([&] {
        bottomLines = recognizers[1].recognise(bottom, dotsPerInch);
    });
    QList<RecognisedLine> lines = recognizers[0].recognise(top, dotsPerInch);
    second.join();
    toSentPixels(lines, 0, prepared.scale);
    toSentPixels(bottomLines, cut, prepared.scale);
    return lines + bottomLines;
}
