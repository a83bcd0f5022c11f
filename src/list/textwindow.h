#pragma once

#include <QString>

class QFont;
class QFontMetricsF;

// A long plain text is laid out only around what a row shows: a window of
// it, cut where no line break can depend on what was left out.

// Texts whose line breaking can't depend on far-away characters: no
// right-to-left script, directional control, regional indicator (flags pair
// up from the start of their run) or broken surrogate pair.
bool windowSafe(const QString &text);

// Whether a search pattern spans a block break, which a window could cut.
bool hasBlockSeparator(const QString &pattern);

// `at`, moved past a CR LF or surrogate pair that a window ending there
// would split.
qsizetype windowEnd(const QString &text, qsizetype at);

// Leaving out letters and digits changes no line only if the font draws
// them all itself: a fallback font could make their line higher.
bool drawsInertWithOwnGlyphs(const QFont &font);

// Where a window must start to hold some words before `at`, the start of the
// first hit. A long run of letters and digits counts as one short word.
qsizetype contextStart(const QString &text, qsizetype at, bool shortenRuns);

// The text from `from` to some lines after the first hit [hitFrom, hitTo),
// or after `from` without one. Long runs keep their ends, wide enough to
// pass the right edge, and the hit; `to` is where the window ends in
// `text`, -1 when there is none.
QString windowText(const QString &text, qsizetype from, qsizetype hitFrom, qsizetype hitTo, bool shortenRuns,
                   const QFontMetricsF &metrics, qreal width, qsizetype &to);
