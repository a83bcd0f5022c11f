#include "preview/filelist.h"

#include <QContextMenuEvent>
#include <QDesktopServices>
#include <QDir>
#include <QFileIconProvider>
#include <QFileInfo>
#include <QKeyEvent>

#include "capture/clipboardwriter.h"
#include "common/log.h"
#include "frame/custommenu.h"
#include "platform/filemanager.h"

namespace {

QUrl urlOf(const QListWidgetItem *item)
{
    return item->data(Qt::UserRole).toUrl();
}

} // namespace

FileList::FileList(ClipboardWriter *writer, QWidget *parent) : QListWidget(parent), clipboardWriter(writer)
{
    connect(this, &QListWidget::itemDoubleClicked, this, &FileList::onItemDoubleClicked);
}

void FileList::addFile(const QUrl &url)
{
    static const QFileIconProvider iconProvider;
    const QFileInfo info(url.toLocalFile());
    auto *item = new QListWidgetItem(iconProvider.icon(info), info.fileName());
    if (!info.exists()) {
        item->setText(item->text() + tr(" (已删除)"));
        item->setForeground(QBrush(Qt::gray));
    }
    item->setData(Qt::UserRole, url);
    addItem(item);
}

void FileList::openFile(const QUrl &url)
{
    emit updateItemActiveTimeSignal();
    if (!QDesktopServices::openUrl(url))
        LOG_WARNING(QStringLiteral("open %1 fail").arg(url.toLocalFile()));
}

void FileList::onItemDoubleClicked(QListWidgetItem *item)
{
    if (item)
        openFile(urlOf(item));
}

void FileList::copyFiles()
{
    const QList<QListWidgetItem *> selected = selectedItems();
    QList<QUrl> urls;
    for (const QListWidgetItem *item : selected) {
        const QUrl url = urlOf(item);
        if (QFileInfo::exists(url.toLocalFile()))
            urls.append(url);
    }
    if (urls.isEmpty())
        return;
    emit updateItemActiveTimeSignal();
    // All the files are the item itself; some of them are a new item.
    if (clipboardWriter)
        clipboardWriter->setClipBoardUrls(urls, urls.size() == count());
}

void FileList::keyPressEvent(QKeyEvent *event)
{
    if (event->modifiers() == Qt::ControlModifier && event->key() == Qt::Key_C) {
        copyFiles();
        return;
    }
    QListWidget::keyPressEvent(event);
}

void FileList::contextMenuEvent(QContextMenuEvent *event)
{
    const QListWidgetItem *under = itemAt(event->pos());
    const QList<QListWidgetItem *> selected = selectedItems();
    LOG_INFO(QStringLiteral("item %1 itemsSelected size %2")
                 .arg(under ? under->text() : QString())
                 .arg(selected.size()));
    if (!under || selected.isEmpty()) {
        event->accept();
        return;
    }
    QList<QUrl> urls;
    for (const QListWidgetItem *item : selected)
        urls.append(urlOf(item));

    CustomMenu menu(QString(), 20, 20, this);
    QAction *copyAction = nullptr;
    QAction *openAction = nullptr;
    QAction *folderAction = nullptr;
    for (const QUrl &url : std::as_const(urls)) {
        if (QFileInfo::exists(url.toLocalFile())) {
            copyAction = menu.addAction(tr("复制"));
            break;
        }
    }
    if (selected.size() == 1) {
        const QFileInfo info(urls.first().toLocalFile());
        if (info.exists())
            openAction = menu.addAction(tr("打开"));
        if (info.dir().exists())
            folderAction = menu.addAction(tr("打开文件所在目录"));
    }
    if (menu.isEmpty())
        return;

    const QAction *chosen = menu.exec(event->globalPos());
    if (!chosen)
        return;
    if (chosen == copyAction)
        copyFiles();
    else if (chosen == openAction)
        openFile(urls.first());
    else if (chosen == folderAction)
        showInFolder(urls.first());
}

void FileList::showInFolder(const QUrl &url)
{
    emit updateItemActiveTimeSignal();
    const QFileInfo info(url.toLocalFile());
    if (info.exists())
        platform::showFileInFolder(info.absoluteFilePath());
    else
        platform::openFolder(info.dir().absolutePath());
}
