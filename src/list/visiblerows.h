#pragma once

#include <QMap>

// Shared by every row painter and the main window's digit keys: while Ctrl is
// held the painters number the rows on screen and record which item each
// digit stands for, so a key press copies exactly what the user saw.

// The lowest proxy row painted since the last reset.
extern int firstVisibleRow;
// Digit 1 to 9 -> source-model row of the item that shows it.
extern QMap<int, int> visibleRowMap;
// On while Ctrl is held; set by the main window, read by the painters.
extern bool quickCopyModeOn;

// Forgets what was painted, so that the digits start again from the top row.
void resetVisibleRows();
