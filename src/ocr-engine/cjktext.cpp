#include "cjktext.h"

namespace {
bool isChinese(QChar c)
{
    const char16_t u = c.unicode();
    // Han, and the CJK and full-width punctuation that stands between it.
    return c.script() == QChar::Script_Han || (u >= 0x3000 && u <= 0x303f) || (u >= 0xff00 && u <= 0xffef);
}

QChar fullWidth(QChar c)
{
    const int at = QStringLiteral(",:;!?").indexOf(c);
    return at < 0 ? QChar() : QStringLiteral("，：；！？").at(at);
}
} // namespace

QString tidiedChineseText(const QString &text)
{
    QString tidied;
    tidied.reserve(text.size());
    for (int i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        const bool afterChinese = !tidied.isEmpty() && isChinese(tidied.back());
        int next = i + 1;
        while (next < text.size() && text.at(next) == QLatin1Char(' '))
            ++next;
        const bool beforeChinese = next < text.size() && isChinese(text.at(next));
        if (c == QLatin1Char(' ') && afterChinese && beforeChinese)
            continue;
        if (afterChinese && !fullWidth(c).isNull() && (beforeChinese || next == text.size())) {
            tidied += fullWidth(c);
            i = next - 1;
            continue;
        }
        tidied += c;
    }
    return tidied;
}
