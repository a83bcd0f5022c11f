#pragma once

#include <QTextEdit>

class ClipboardWriter;

// The editor of the text preview. Ctrl+C of the whole text is a copy of the
// item itself and must not come back as a new history item; a copy of a part
// is a new item and goes the ordinary way.
class CustomEdit : public QTextEdit
{
    Q_OBJECT

public:
    explicit CustomEdit(ClipboardWriter *writer, QWidget *parent = nullptr);

signals:
    void updateItemActiveTimeSignal();

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    ClipboardWriter *clipboardWriter = nullptr;
};
