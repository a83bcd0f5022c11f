#include "preview/previewbase.h"

#include <QCloseEvent>
#include <QKeyEvent>
#include <QScreen>

#include "common/log.h"
#include "frame/screenfit.h"
#include "item/clipboardmodel.h"
#include "preview/previewplacement.h"

PreviewBase::PreviewBase(ClipboardModel *model, ClipboardWriter *writer, QWidget *mainWindow)
    : QWKWidget(nullptr), clipboardModel(model), clipboardWriter(writer), mainWindow(mainWindow)
{
    setAttribute(Qt::WA_DeleteOnClose);
}

PreviewBase::~PreviewBase()
{
    LOG_INFO(QStringLiteral("preview destruct"));
}

void PreviewBase::setHashValue(uint hashValue)
{
    itemHash = hashValue;
}

void PreviewBase::setFilterText(const QString &text)
{
    searchText = text;
}

void PreviewBase::adjustPosition(int y)
{
    anchorHeight = y;
    QScreen *screen = mainWindow ? mainWindow->screen() : nullptr;
    if (!screen) {
        LOG_WARNING(QStringLiteral("current screen is null"));
        return;
    }
    const QRect available = screen->availableGeometry();
    // The main window's screen may be smaller than the one the preview was
    // first sized on; the preview keeps its 2 pixels from every edge.
    const QMargins frame = windowFrameMargins(this);
    const QSize fitted = fittedSize(size(), frame, available.adjusted(2, 2, -2, -2));
    if (fitted != size()) {
        setMinimumSize(minimumSize().boundedTo(fitted));
        resize(fitted);
    }
    move(previewPosition(mainWindow->frameGeometry(), available, frameSize(), y));
}

void PreviewBase::updateHash(uint oldHash, uint newHash)
{
    if (itemHash == oldHash) {
        LOG_INFO(QStringLiteral("update own %1 new %2").arg(itemHash).arg(newHash));
        itemHash = newHash;
    } else {
        LOG_ERROR(QStringLiteral("different own %1 old %2").arg(itemHash).arg(oldHash));
    }
}

void PreviewBase::onUpdateItemActiveTime()
{
    if (clipboardModel)
        clipboardModel->updateItemActiveTime(itemHash);
}

void PreviewBase::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Space)
        close();
}

void PreviewBase::closeEvent(QCloseEvent *event)
{
    emit closing(this);
    QWKWidget::closeEvent(event);
}
