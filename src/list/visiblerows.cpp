#include "list/visiblerows.h"

int firstVisibleRow = 2147483647;
QMap<int, int> visibleRowMap;
bool quickCopyModeOn = false;

void resetVisibleRows()
{
    firstVisibleRow = 2147483647;
    visibleRowMap.clear();
}
