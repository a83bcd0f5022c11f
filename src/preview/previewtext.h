#pragma once

#include "preview/previewbase.h"

class CustomEdit;
class QPushButton;

// The preview of a text or HTML item: an editor whose saved text replaces
// the item's text, which gives the item a new identity.
class PreviewText : public PreviewBase
{
    Q_OBJECT

public:
    PreviewText(ClipboardModel *model, ClipboardWriter *writer, QWidget *mainWindow);

    // The window keeps the size the layout gives it.
    void setHtml(const QString &html);
    // Sizes the window to the widest of the first lines.
    void setPlainText(const QString &text);
    // Stores the text and marks every occurrence, ignoring case.
    void setFilterText(const QString &text) override;

public slots:
    void onSave();

private:
    CustomEdit *textEdit = nullptr;
    QPushButton *saveButton = nullptr;
};
