#include "list/textwindow.h"

#include <QFont>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QHash>
#include <QRawFont>

namespace {

// How much of the text around a hit a window keeps, in characters.
constexpr qsizetype kContext = 400;
constexpr qsizetype kTail = 1000;

} // namespace

bool windowSafe(const QString &text)
{
    const qsizetype size = text.size();
    for (qsizetype i = 0; i < size; ++i) {
        const ushort u = text.at(i).unicode();
        if (u < 0x0590)
            continue;
        if ((u >= 0x0590 && u <= 0x08FF) || (u >= 0x200E && u <= 0x200F) || (u >= 0x202A && u <= 0x202E) ||
            (u >= 0x2066 && u <= 0x2069) || (u >= 0xFB1D && u <= 0xFDFF) || (u >= 0xFE70 && u <= 0xFEFF))
            return false;
        if (QChar::isSurrogate(u)) {
            if (!QChar::isHighSurrogate(u) || i + 1 >= size || !text.at(i + 1).isLowSurrogate())
                return false;
            const char32_t c = QChar::surrogateToUcs4(u, text.at(i + 1).unicode());
            if ((c >= 0x10800 && c <= 0x10FFF) || (c >= 0x1E800 && c <= 0x1EFFF) ||
                (c >= 0x1F1E6 && c <= 0x1F1FF))
                return false;
            ++i;
        }
    }
    return true;
}

bool hasBlockSeparator(const QString &pattern)
{
    for (const QChar c : pattern) {
        if (c == QLatin1Char('\n') || c == QLatin1Char('\r') || c == QChar::ParagraphSeparator)
            return true;
    }
    return false;
}

// Whether a window bound at `at` would split a CR LF pair, which is one
// block break, or a surrogate pair.
static bool splitsPair(const QString &text, qsizetype at)
{
    if (at <= 0 || at >= text.size())
        return false;
    return (text.at(at - 1) == QLatin1Char('\r') && text.at(at) == QLatin1Char('\n')) ||
           (text.at(at - 1).isHighSurrogate() && text.at(at).isLowSurrogate());
}

static qsizetype windowStart(const QString &text, qsizetype at)
{
    if (at <= 0)
        return 0;
    return splitsPair(text, at) ? at + 1 : at;
}

qsizetype windowEnd(const QString &text, qsizetype at)
{
    if (at >= text.size())
        return text.size();
    return splitsPair(text, at) ? at + 1 : at;
}

// ASCII letters and digits: no line may break between two of them, so a
// long run of them (a hash, a hex dump, a key) is one word that fills a line
// of its own and runs past the row's right edge.
static bool isInert(QChar c)
{
    const ushort u = c.unicode();
    return (u >= '0' && u <= '9') || (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z');
}

static qsizetype inertRunEnd(const QString &text, qsizetype from)
{
    while (from < text.size() && isInert(text.at(from)))
        ++from;
    return from;
}

static qsizetype inertRunStart(const QString &text, qsizetype to)
{
    while (to > 0 && isInert(text.at(to - 1)))
        --to;
    return to;
}

// A run this long keeps only its two ends in a window: a start that passes
// the row's right edge, and an end for the line break after the run. What
// is left out lies right of the row, on the run's own line.
constexpr qsizetype kLongRun = 2048;
constexpr qsizetype kRunStart = 512;
constexpr qsizetype kRunEnd = 128;
// What a shortened run counts against a window's budget of characters.
constexpr qsizetype kRunCost = 100;

bool drawsInertWithOwnGlyphs(const QFont &font)
{
    static QHash<QString, bool> known;
    const QString key = font.key();
    const auto it = known.constFind(key);
    if (it != known.cend())
        return *it;
    const QRawFont latin = QRawFont::fromFont(font, QFontDatabase::Latin);
    const QRawFont common = QRawFont::fromFont(font, QFontDatabase::Any);
    bool own = latin.isValid() && common.isValid() && latin.familyName() == common.familyName() &&
               latin.ascent() == common.ascent() && latin.descent() == common.descent();
    for (char c = '0'; own && c <= 'z'; ++c) {
        if (isInert(QLatin1Char(c)))
            own = latin.supportsCharacter(QLatin1Char(c)) && common.supportsCharacter(QLatin1Char(c));
    }
    known.insert(key, own);
    return own;
}

qsizetype contextStart(const QString &text, qsizetype at, bool shortenRuns)
{
    qsizetype pos = at;
    qsizetype budget = kContext;
    while (pos > 0 && budget > 0) {
        if (shortenRuns && isInert(text.at(pos - 1))) {
            const qsizetype start = inertRunStart(text, pos);
            if (inertRunEnd(text, pos) - start > kLongRun) {
                pos = start;
                budget -= kRunCost;
            } else {
                const qsizetype step = qMin(budget, pos - start);
                pos -= step;
                budget -= step;
            }
            continue;
        }
        --pos;
        --budget;
    }
    return windowStart(text, pos);
}

QString windowText(const QString &text, qsizetype from, qsizetype hitFrom, qsizetype hitTo, bool shortenRuns,
                   const QFontMetricsF &metrics, qreal width, qsizetype &to)
{
    QString window;
    qsizetype pos = from;
    qsizetype budget = kTail;
    while (pos < text.size() && (pos < hitTo || budget > 0)) {
        const qsizetype end = shortenRuns ? inertRunEnd(text, pos) : pos;
        if (end - pos > kLongRun) {
            qsizetype head = kRunStart;
            while (metrics.horizontalAdvance(text.mid(pos, head)) <= width + 50) {
                head *= 2;
                // Too narrow a font or too wide a row to hide the rest: no window.
                if (head > end - pos - kRunEnd) {
                    to = -1;
                    return QString();
                }
            }
            window += QStringView(text).mid(pos, head);
            const qsizetype keepFrom = qBound(pos + head, hitFrom, end - kRunEnd);
            const qsizetype keepTo = qBound(pos + head, hitTo, end - kRunEnd);
            window += QStringView(text).mid(keepFrom, keepTo - keepFrom);
            window += QStringView(text).mid(end - kRunEnd, kRunEnd);
            if (end > hitTo)
                budget -= kRunCost;
            pos = end;
            continue;
        }
        // Plain characters up to the next run, as many as the budget allows after the hit.
        qsizetype stop = qMax(end, pos + 1);
        while (stop < text.size() && stop - pos < kTail && !isInert(text.at(stop)))
            ++stop;
        if (stop > hitTo) {
            const qsizetype counted = qMax(pos, hitTo);
            stop = qMin(stop, counted + budget);
            budget -= stop - counted;
        }
        stop = windowEnd(text, stop);
        window += QStringView(text).mid(pos, stop - pos);
        pos = stop;
    }
    to = pos;
    return window;
}
