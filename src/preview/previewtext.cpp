#include "preview/previewtext.h"

#include <QFontMetrics>
#include <QHBoxLayout>
#include <QPushButton>
#include <QTextCharFormat>
#include <QTextCursor>
#include <QTextDocument>

#include "frame/buttonstyle.h"
#include "frame/titlebar.h"
#include "frame/widgetwindowagent.h"
#include "item/clipboardmodel.h"
#include "preview/customedit.h"

namespace {

constexpr int kMeasuredLines = 100;
constexpr int kMinWidth = 500;
constexpr int kMaxWidth = 1400;
constexpr double kGolden = 0.618;

// Where `text` occurs in a document's raw text (paragraphs separated by
// U+2029), ignoring case: position and length of each hit, without overlap.
QList<QPair<int, int>> searchHits(const QString &rawText, const QString &text)
{
    QList<QPair<int, int>> hits;
    // A hit never spans paragraphs, as the document's own search has it.
    if (text.isEmpty() || text.contains(QLatin1Char('\n')) || text.contains(QChar::ParagraphSeparator))
        return hits;
    // The document's own search copies the whole paragraph for every hit,
    // which takes seconds on a long single line with many hits.
    for (qsizetype at = rawText.indexOf(text, 0, Qt::CaseInsensitive); at >= 0;
         at = rawText.indexOf(text, at + text.size(), Qt::CaseInsensitive))
        hits.append({int(at), int(text.size())});
    return hits;
}

// The width of a line as far as the window size needs it: a line whose
// start already reaches the widest window is not measured further. A start
// is never narrower than its line, and shaping a line of a megabyte takes
// a fifth of a second.
int lineWidth(QStringView line, const QFontMetrics &metrics)
{
    constexpr qsizetype kPrefix = 1024;
    if (line.size() > kPrefix) {
        const int prefixWidth = metrics.horizontalAdvance(line.first(kPrefix).toString());
        if (prefixWidth >= kMaxWidth)
            return prefixWidth;
    }
    return metrics.horizontalAdvance(line.toString());
}

// The window size for a plain text: the widest of its first lines plus a
// margin, between the smallest and the widest window, in the golden
// proportion.
QSize plainTextWindowSize(const QString &text, const QFontMetrics &metrics)
{
    // Only the first lines are measured, so that a huge text cannot stall
    // the opening; the text is not split as a whole for the same reason.
    int maxWidth = 0;
    qsizetype start = 0;
    for (int line = 0; line < kMeasuredLines; ++line) {
        const qsizetype end = text.indexOf(QLatin1Char('\n'), start);
        const qsizetype length = (end < 0 ? text.size() : end) - start;
        maxWidth = qMax(maxWidth, lineWidth(QStringView(text).mid(start, length), metrics));
        if (end < 0)
            break;
        start = end + 1;
    }
    const int width = qBound(kMinWidth, maxWidth + 20, kMaxWidth);
    return QSize(width, int(width * kGolden));
}

} // namespace

PreviewText::PreviewText(ClipboardModel *model, ClipboardWriter *writer, QWidget *mainWindow)
    : PreviewBase(model, writer, mainWindow)
{
    setMinimumSize(kMinWidth, 309);
    setMaximumSize(kMaxWidth, 865);

    saveButton = new QPushButton(this);
    saveButton->setObjectName(QStringLiteral("iconButton"));
    saveButton->setFixedSize(24, 24);
    saveButton->setIcon(QIcon(QStringLiteral(":/images/icons/save.svg")));
    saveButton->setIconSize(QSize(24, 24));
    saveButton->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_S));
    saveButton->setStyleSheet(roundIconButtonStyle());
    saveButton->setEnabled(false);
    // Like the title bar's own buttons: no place in the focus chain, where
    // it would come before the text.
    saveButton->setFocusPolicy(Qt::NoFocus);
    if (auto *barLayout = qobject_cast<QHBoxLayout *>(titleBar->layout())) {
        barLayout->insertSpacing(0, 10);
        barLayout->insertWidget(1, saveButton);
    }
    windowAgent->setHitTestVisible(saveButton, true);

    textEdit = new CustomEdit(writer);
    layout()->addWidget(textEdit);
    textEdit->setLineWrapMode(QTextEdit::WidgetWidth);
    textEdit->setFrameShape(QFrame::NoFrame);
    textEdit->setContextMenuPolicy(Qt::NoContextMenu);

    // The button is live exactly while the text differs from what was last
    // set or saved; undoing an edit turns it off again.
    connect(textEdit->document(), &QTextDocument::modificationChanged, saveButton, &QPushButton::setEnabled);
    connect(saveButton, &QPushButton::clicked, this, &PreviewText::onSave);
    connect(textEdit, &CustomEdit::updateItemActiveTimeSignal, this, &PreviewText::onUpdateItemActiveTime);
}

void PreviewText::setHtml(const QString &html)
{
    setWindowTitle(QStringLiteral("html"));
    textEdit->setHtml(html);
    saveButton->setEnabled(false);
}

void PreviewText::setPlainText(const QString &text)
{
    setWindowTitle(QStringLiteral("text"));
    textEdit->setPlainText(text);
    resize(plainTextWindowSize(text, QFontMetrics(textEdit->font())));
    saveButton->setEnabled(false);
}

void PreviewText::setFilterText(const QString &text)
{
    PreviewBase::setFilterText(text);
    if (text.isEmpty())
        return;
    QTextDocument *document = textEdit->document();
    // The marks are a view of the search, not an edit: they must neither
    // turn the save button on nor be undone by the user's Ctrl+Z.
    const bool modified = document->isModified();
    const bool undo = document->isUndoRedoEnabled();
    document->setUndoRedoEnabled(false);

    QTextCharFormat mark;
    mark.setBackground(QBrush(Qt::yellow));
    QTextCursor cursor(document);
    // One layout pass for all marks instead of one per mark.
    cursor.beginEditBlock();
    for (const QPair<int, int> &hit : searchHits(document->toRawText(), text)) {
        cursor.setPosition(hit.first);
        cursor.setPosition(hit.first + hit.second, QTextCursor::KeepAnchor);
        cursor.mergeCharFormat(mark);
    }
    cursor.endEditBlock();

    document->setUndoRedoEnabled(undo);
    document->setModified(modified);
}

void PreviewText::onSave()
{
    textEdit->document()->setModified(false);
    if (model())
        model()->updateItemText(hashValue(), textEdit->toPlainText());
}
