#include "preview/customedit.h"

#include <QKeyEvent>

#include "capture/clipboardwriter.h"

CustomEdit::CustomEdit(ClipboardWriter *writer, QWidget *parent) : QTextEdit(parent), clipboardWriter(writer)
{
}

void CustomEdit::keyPressEvent(QKeyEvent *event)
{
    if (event->modifiers() == Qt::ControlModifier && event->key() == Qt::Key_C) {
        emit updateItemActiveTimeSignal();
        // selectedText() separates paragraphs with U+2029, so a text of
        // several lines never matches and is copied as a part. An empty
        // selection copies nothing, as the base class does.
        const QString selected = textCursor().selectedText();
        if (!selected.isEmpty() && clipboardWriter) {
            const QString whole = toPlainText();
            if (selected == whole) {
                clipboardWriter->setClipBoardText(whole, true);
                return;
            }
        }
    }
    QTextEdit::keyPressEvent(event);
}
