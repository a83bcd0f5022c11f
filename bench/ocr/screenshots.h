#pragma once

#include <QImage>
#include <QString>
#include <QStringList>

// A screenshot of a text window, with the lines drawn on it as its ground
// truth.
struct Screenshot
{
    QString name;
    QImage image;
    QStringList lines;
};

enum class Script { Chinese, English, Mixed };

struct ScreenshotStyle
{
    Script script = Script::English;
    int pixelSize = 16;
    bool dark = false;
    // Grey on grey, saved as a poor JPEG and read back.
    bool damaged = false;
};

// 1920x1080 with 20 lines of text in a document window.
Screenshot renderScreenshot(const ScreenshotStyle &style);
