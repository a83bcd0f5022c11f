#pragma once

#include <QString>

// Chinese text as it is written: the recogniser puts blanks between Han
// characters where their glyphs leave wide gaps, and reads the full-width
// colon and its kin as the narrow one and a blank.
QString tidiedChineseText(const QString &text);
