#include "imageprep.h"

#include <algorithm>

namespace {
// Two times: at one, small Chinese loses about ten points; at three, columns
// that stand side by side run together into one line.
constexpr int enlargement = 2;

qint64 totalBrightness(const QImage &grey)
{
    qint64 sum = 0;
    for (int y = 0; y < grey.height(); ++y) {
        const uchar *row = grey.constScanLine(y);
        for (int x = 0; x < grey.width(); ++x)
            sum += row[x];
    }
    return sum;
}
} // namespace

PreparedImage prepareForRecognition(const QImage &sent)
{
    PreparedImage prepared;
    QImage grey = sent.convertToFormat(QImage::Format_Grayscale8);
    // A dark theme: light text on a dark ground reads far worse.
    const qint64 pixels = qint64(grey.width()) * grey.height();
    if (pixels > 0 && totalBrightness(grey) < pixels * 128)
        grey.invertPixels();
    if (pixels <= largestEnlargedPixels) {
        grey = grey.scaled(grey.width() * enlargement, grey.height() * enlargement, Qt::IgnoreAspectRatio,
                           Qt::SmoothTransformation);
        prepared.scale = enlargement;
    }
    prepared.grey = grey;
    return prepared;
}

int blankRowNearMiddle(const QImage &grey)
{
    const int height = grey.height();
    if (height < 4)
        return -1;
    // Ink is anything clearly darker than the ground, which is the
    // brightest common value after the dark-theme turn.
    const auto blank = [&grey](int y) {
        const uchar *row = grey.constScanLine(y);
        uchar lightest = 0, darkest = 255;
        for (int x = 0; x < grey.width(); ++x) {
            lightest = std::max(lightest, row[x]);
            darkest = std::min(darkest, row[x]);
        }
        return lightest - darkest < 48;
    };
    const int middle = height / 2;
    for (int distance = 0; distance < height / 4; ++distance) {
        if (blank(middle - distance))
            return middle - distance;
        if (blank(middle + distance))
            return middle + distance;
    }
    return -1;
}
