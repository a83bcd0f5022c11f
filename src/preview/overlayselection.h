#pragma once

#include <QList>
#include <QPoint>
#include <QString>

class OverlayText;

// The text selected across the boxes laid over a picture. It runs from the
// box and character where a drag began to where the pointer is now, in the
// order of the recognition results, as in a text document; the boxes between
// the two ends are selected whole.
class OverlaySelection
{
public:
    // `overlays` is the list of the boxes, owned by the view that shows them.
    explicit OverlaySelection(const QList<OverlayText *> &overlays);

    // The first box in list order under `parentPos`, else -1.
    int overlayIndexAt(const QPoint &parentPos) const;
    // A drag begins on box `index`; it selects nothing until it moves.
    void begin(int index, const QPoint &parentPos);
    // Over a box the end of the drag follows the pointer; away from all
    // boxes the last end is kept.
    void extendTo(const QPoint &parentPos);
    // Gives every box its part of the span between the two ends.
    void apply();
    // Ends any drag and clears every box.
    void clear();

    bool isSelecting() const { return selecting; }
    bool hasSelection() const;
    // The selected text of the boxes, or all their text, in list order: boxes
    // whose lower edges lie about level are joined by a blank, others start
    // a new line.
    QString text(bool all) const;

private:
    const QList<OverlayText *> &overlays;
    bool selecting = false;
    int selStartIndex = -1;
    int selStartChar = -1;
    int selEndIndex = -1;
    int selEndChar = -1;
};
