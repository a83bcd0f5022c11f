#pragma once

#include <QListWidget>
#include <QUrl>

class ClipboardWriter;

// The files of a file item, one row each, with the row's URL under
// Qt::UserRole. Copy, open and show-in-folder act on the selected rows;
// a copy of only some of the files becomes a new history item.
class FileList : public QListWidget
{
    Q_OBJECT

public:
    explicit FileList(ClipboardWriter *writer, QWidget *parent = nullptr);

    uint hashValue() const { return itemHash; }
    void setHashValue(uint hashValue) { itemHash = hashValue; }

    // Appends a row; whether the file exists is looked at here, once.
    void addFile(const QUrl &url);
    void openFile(const QUrl &url);
    void copyFiles();

signals:
    void updateItemActiveTimeSignal();

public slots:
    void onItemDoubleClicked(QListWidgetItem *item);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    void showInFolder(const QUrl &url);

    ClipboardWriter *clipboardWriter = nullptr;
    uint itemHash = 0;
};
