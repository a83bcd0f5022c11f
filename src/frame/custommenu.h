#pragma once

#include <QMenu>

// The context menu of every window: frameless, translucent, with a soft
// shadow inside the margin that the QMenu style sheet rule reserves.
class CustomMenu : public QMenu
{
    Q_OBJECT

public:
    // The two sizes are kept for the callers' sake and have no effect.
    CustomMenu(const QString &title, int iconWidth, int iconHeight, QWidget *parent = nullptr);
};
