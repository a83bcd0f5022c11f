#include "preview/previewlink.h"

#include <QGuiApplication>
#include <QScreen>

QSize PreviewLink::sizeHint() const
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    if (!screen)
        return PreviewBase::sizeHint();
    const QSize size = screen->geometry().size();
    return QSize(qRound(size.width() * 0.6), qRound(size.height() * 0.6));
}
