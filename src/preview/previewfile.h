#pragma once

#include "preview/previewbase.h"

#include <QList>
#include <QUrl>

class FileList;

// The preview of a file item: its files with their icons, missing ones
// marked, to be opened, copied or shown in their folder.
class PreviewFile : public PreviewBase
{
    Q_OBJECT

public:
    PreviewFile(ClipboardModel *model, ClipboardWriter *writer, QWidget *mainWindow);

    void setUrls(const QList<QUrl> &urls);
    void setHashValue(uint hashValue) override;
    // Marks the rows whose name contains the text, ignoring case; an empty
    // text changes nothing.
    void setFilterText(const QString &text) override;

private:
    FileList *fileList = nullptr;
};
