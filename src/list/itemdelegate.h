#pragma once

#include <QStyledItemDelegate>

#include <memory>

class ClipboardModel;
class ItemData;
class QTextDocument;
struct PreparedText;
struct PreparedTexts;

// Paints one history row: frame, source icon, time, remark and a preview of
// the content trimmed to a fixed height, showing the search hit rather than
// the start of a long text, with small dots where content was left out.
class ItemDelegate : public QStyledItemDelegate
{
    Q_OBJECT
public:
    explicit ItemDelegate(QObject *parent = nullptr);
    ~ItemDelegate() override;

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;

private:
    static void drawFrame(QPainter *painter, const QStyleOptionViewItem &option, const QRect &frameRect);
    static int drawRemark(QPainter *painter, const ItemData &item, const QRect &frameRect);
    static void drawImage(QPainter *painter, const ItemData &item, const QRect &contentRect);
    static void drawFiles(QPainter *painter, const ItemData &item, const QString &pattern,
                          const QRect &contentRect);
    void drawText(QPainter *painter, const ItemData &item, const QString &pattern, QRect contentRect,
                  const QRect &frameRect) const;
    const PreparedText &prepareText(const ItemData &item, const QString &pattern,
                                    const QRect &contentRect) const;
    static void layOutWhole(QTextDocument &document, uint itemType, const QString &source,
                            const QString &pattern, const QRect &contentRect, bool &topCut, bool &bottomCut);
    static bool layOutWindow(QTextDocument &document, const QString &text, const QString &pattern,
                             const QRect &contentRect, bool &topCut, bool &bottomCut);
    static void drawCutMarks(QPainter *painter, const QTextDocument &document, bool topCut, bool bottomCut,
                             bool link, const QRect &docRect, const QRect &frameRect);
    static int drawIcon(QPainter *painter, const ClipboardModel *model, uint iconHashValue,
                        const QRect &frameRect);
    static void drawDigit(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index,
                          int sourceRow, int iconWidth, const QRect &frameRect);

    // The text rows painted last, laid out and trimmed: a new copy repaints
    // every row on screen, and a long text must not be laid out each time.
    std::unique_ptr<PreparedTexts> preparedTexts;
};
