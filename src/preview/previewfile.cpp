#include "preview/previewfile.h"

#include <QLayout>

#include "preview/filelist.h"

PreviewFile::PreviewFile(ClipboardModel *model, ClipboardWriter *writer, QWidget *mainWindow)
    : PreviewBase(model, writer, mainWindow)
{
    // Named like the text previews, for the window manager's lists.
    setWindowTitle(QStringLiteral("file"));
    fileList = new FileList(writer, this);
    fileList->setSelectionMode(QAbstractItemView::ExtendedSelection);
    fileList->setFrameShape(QFrame::NoFrame);
    fileList->setMinimumSize(500, 309);
    layout()->addWidget(fileList);
    connect(fileList, &FileList::updateItemActiveTimeSignal, this, &PreviewFile::onUpdateItemActiveTime);
}

void PreviewFile::setUrls(const QList<QUrl> &urls)
{
    for (const QUrl &url : urls)
        fileList->addFile(url);
}

void PreviewFile::setHashValue(uint hashValue)
{
    PreviewBase::setHashValue(hashValue);
    fileList->setHashValue(hashValue);
}

void PreviewFile::setFilterText(const QString &text)
{
    if (text.isEmpty())
        return;
    PreviewBase::setFilterText(text);
    for (int row = 0; row < fileList->count(); ++row) {
        QListWidgetItem *item = fileList->item(row);
        // The mark of a missing file is part of what is searched.
        if (item->text().contains(text, Qt::CaseInsensitive))
            item->setBackground(QBrush(Qt::yellow));
    }
}
