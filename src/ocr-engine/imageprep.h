#pragma once

#include <QImage>

// A screenshot made ready for recognition: grey, dark text on a light
// ground, and enlarged, since screen text is smaller than the print the
// models were trained on.
struct PreparedImage
{
    QImage grey;
    // Pixels of `grey` per pixel of the picture that was sent.
    int scale = 1;
};

// Pictures above this many pixels are read at their own size: enlarged
// they would take seconds and hundreds of megabytes. A 2560x1600 screen
// still is enlarged.
constexpr qint64 largestEnlargedPixels = 4'200'000;
// Larger pictures are refused; a full-page capture of 1920x20000 is not.
constexpr qint64 largestPixels = 40'000'000;

PreparedImage prepareForRecognition(const QImage &sent);

// The row of `grey` nearest its middle that holds no ink, where the picture
// can be cut in two without cutting a line of text; -1 when there is none
// in the middle half.
int blankRowNearMiddle(const QImage &grey);
