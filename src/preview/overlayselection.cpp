#include "preview/overlayselection.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "ocr/overlaytext.h"

OverlaySelection::OverlaySelection(const QList<OverlayText *> &overlays) : overlays(overlays) {}

int OverlaySelection::overlayIndexAt(const QPoint &parentPos) const
{
    for (int i = 0; i < overlays.size(); ++i) {
        if (overlays.at(i)->contains(parentPos))
            return i;
    }
    return -1;
}

void OverlaySelection::begin(int index, const QPoint &parentPos)
{
    if (index < 0 || index >= overlays.size())
        return;
    selStartIndex = index;
    selStartChar = overlays.at(index)->charIndexAt(parentPos);
    // The end starts on the start, so that a drag that leaves the boxes at
    // once keeps nothing of an earlier one.
    selEndIndex = selStartIndex;
    selEndChar = selStartChar;
    selecting = true;
}

void OverlaySelection::extendTo(const QPoint &parentPos)
{
    const int index = overlayIndexAt(parentPos);
    if (index >= 0) {
        selEndIndex = index;
        selEndChar = overlays.at(index)->charIndexAt(parentPos);
    }
    apply();
}

void OverlaySelection::apply()
{
    int first = selStartIndex;
    int firstChar = selStartChar;
    int last = selEndIndex;
    int lastChar = selEndChar;
    if (first > last) {
        std::swap(first, last);
        std::swap(firstChar, lastChar);
    } else if (first == last) {
        if (firstChar > lastChar)
            std::swap(firstChar, lastChar);
        else if (firstChar == lastChar)
            firstChar = lastChar = -1;
    }

    for (int i = 0; i < overlays.size(); ++i) {
        OverlayText *overlay = overlays.at(i);
        if (first < 0 || i < first || i > last)
            overlay->clearSelection();
        else if (i == first && i == last && firstChar != lastChar)
            overlay->setSelection(firstChar, lastChar);
        else if (i == first && i == last)
            overlay->clearSelection(); // a click without a move
        else if (i == first)
            overlay->selectToEnd(firstChar);
        else if (i == last)
            overlay->setSelection(0, lastChar);
        else
            overlay->selectToEnd(0);
    }
}

void OverlaySelection::clear()
{
    selecting = false;
    selStartIndex = selStartChar = selEndIndex = selEndChar = -1;
    for (OverlayText *overlay : overlays)
        overlay->clearSelection();
}

bool OverlaySelection::hasSelection() const
{
    return std::any_of(overlays.cbegin(), overlays.cend(),
                       [](const OverlayText *overlay) { return overlay->hasSelection(); });
}

QString OverlaySelection::text(bool all) const
{
    QString joined;
    const OverlayText *previous = nullptr;
    for (const OverlayText *overlay : overlays) {
        // A broken box holds no text and would only add a stray line break.
        if (all ? overlay->text().isEmpty() : !overlay->hasSelection())
            continue;
        if (previous) {
            const int previousBottom = previous->y() + previous->height();
            const int bottom = overlay->y() + overlay->height();
            const bool sameLine =
                std::min(previous->height(), overlay->height()) * 0.5 > std::abs(previousBottom - bottom);
            joined += sameLine ? QLatin1Char(' ') : QLatin1Char('\n');
        }
        joined += overlay->selectedText(all);
        previous = overlay;
    }
    return joined;
}
