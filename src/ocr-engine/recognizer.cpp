#include "recognizer.h"

#include <tesseract/baseapi.h>
#include <tesseract/resultiterator.h>

#include "cjktext.h"

namespace {
// The script model of simplified Chinese, which reads screen text better
// than the language model and holds the Latin letters too. Adding the
// English model costs a fifth more time and memory, wins under a point on
// English, and makes whole Chinese lines come out as Latin nonsense when
// the English reading scores higher.
const char *const languages = "HanS";
} // namespace

Recognizer::Recognizer() = default;

Recognizer::~Recognizer()
{
    unload();
}

bool Recognizer::load(QString &error)
{
    if (api)
        return true;
    auto fresh = std::make_unique<tesseract::TessBaseAPI>();
    // Variables set before Init last until End(); these keep the library
    // quiet on standard error, which is for faults only.
    fresh->SetVariable("debug_file", "/dev/null");
    if (fresh->Init(nullptr, languages, tesseract::OEM_LSTM_ONLY) != 0) {
        error = QStringLiteral("cannot load the language data %1").arg(QString::fromLatin1(languages));
        return false;
    }
    fresh->SetVariable("preserve_interword_spaces", "1");
    // Otsu over tiles: one threshold for the whole picture turns a grey
    // document beside a light side bar all black.
    fresh->SetVariable("thresholding_method", "1");
    fresh->SetPageSegMode(tesseract::PSM_AUTO);
    api = std::move(fresh);
    return true;
}

void Recognizer::unload()
{
    if (!api)
        return;
    api->End();
    api.reset();
}

QList<RecognisedLine> Recognizer::recognise(const QImage &grey, int dotsPerInch)
{
    QList<RecognisedLine> lines;
    if (!api || grey.isNull())
        return lines;
    api->SetImage(grey.constBits(), grey.width(), grey.height(), 1, int(grey.bytesPerLine()));
    api->SetSourceResolution(dotsPerInch);
    if (api->Recognize(nullptr) != 0) {
        api->Clear();
        return lines;
    }
    std::unique_ptr<tesseract::ResultIterator> it(api->GetIterator());
    if (it) {
        do {
            if (it->Empty(tesseract::RIL_TEXTLINE))
                continue;
            std::unique_ptr<char[]> utf8(it->GetUTF8Text(tesseract::RIL_TEXTLINE));
            const QString text = tidiedChineseText(QString::fromUtf8(utf8.get()).trimmed());
            int left = 0, top = 0, right = 0, bottom = 0;
            if (text.isEmpty() || !it->BoundingBox(tesseract::RIL_TEXTLINE, &left, &top, &right, &bottom))
                continue;
            lines.append({QRect(QPoint(left, top), QPoint(right - 1, bottom - 1)), text});
        } while (it->Next(tesseract::RIL_TEXTLINE));
    }
    api->Clear();
    return lines;
}
