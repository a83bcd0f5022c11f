#include "list/itemdelegate.h"

#include <QAbstractItemView>
#include <QCache>
#include <QDateTime>
#include <QFileIconProvider>
#include <QFileInfo>
#include <QFontMetricsF>
#include <QPainter>
#include <QSortFilterProxyModel>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextLayout>
#include <QTextDocument>

#include "common/log.h"
#include "common/mime.h"
#include "item/clipboardmodel.h"
#include "item/itemcodec.h"
#include "item/itemdata.h"
#include "list/textwindow.h"
#include "list/visiblerows.h"

namespace {

constexpr int kRowHeight = 84;
constexpr int kIconSize = 64;
const QColor kSelectedColor(100, 150, 230, 255);

// Scaled pictures of image rows and large source icons. An image row's key
// is its identity hash, which covers the PNG bytes, plus the byte count and
// the target size; an icon's key is the pixmap's own cache key. So a key
// never outlives the pixels it stands for.
struct ScaledKey
{
    quint64 source;
    int bytes;
    QSize size;

    bool operator==(const ScaledKey &other) const
    {
        return source == other.source && bytes == other.bytes && size == other.size;
    }
};

size_t qHash(const ScaledKey &key, size_t seed = 0)
{
    return qHashMulti(seed, key.source, key.bytes, key.size.width(), key.size.height());
}

// Cost in KiB; a screen of rows needs a few MiB at most.
QCache<ScaledKey, QPixmap> &scaledCache()
{
    static QCache<ScaledKey, QPixmap> cache(32 * 1024);
    return cache;
}

void insertScaled(const ScaledKey &key, const QPixmap &pixmap)
{
    const qint64 kib = qint64(pixmap.width()) * pixmap.height() * pixmap.depth() / 8 / 1024 + 1;
    scaledCache().insert(key, new QPixmap(pixmap), kib);
}

QFileIconProvider &iconProvider()
{
    static QFileIconProvider provider;
    return provider;
}

QTextCharFormat highlightFormat()
{
    QTextCharFormat format;
    format.setBackground(Qt::yellow);
    return format;
}

void highlightAll(QTextDocument &document, const QString &pattern)
{
    const QTextCharFormat format = highlightFormat();
    QTextCursor cursor(&document);
    while (true) {
        cursor = document.find(pattern, cursor);
        if (cursor.isNull())
            break;
        cursor.mergeCharFormat(format);
    }
}

// Draws `document` with its top left at `rect`'s, clipped to `rect`'s size.
void drawDocument(QPainter *painter, QTextDocument &document, const QRect &rect)
{
    painter->save();
    painter->translate(rect.topLeft());
    document.drawContents(painter, QRectF(0, 0, rect.width(), rect.height()));
    painter->restore();
}

// Long plain texts are laid out around the hit only; see layOutWindow.
constexpr qsizetype kLongText = 4000;
constexpr qsizetype kHead = 600;
constexpr int kMinContext = 32;

void setUpDocument(QTextDocument &document, int width)
{
    document.setTextWidth(width);
    QTextOption textOption = document.defaultTextOption();
    textOption.setWrapMode(QTextOption::WordWrap);
    document.setDefaultTextOption(textOption);
}

// Removes all before the first hit but up to four words; returns where the
// cut was made, -1 when there is no hit.
int cutBeforeFirstHit(QTextDocument &document, const QString &pattern)
{
    QTextCursor cursor = document.find(pattern, 0);
    if (cursor.isNull())
        return -1;
    for (int i = 0; i < 4; ++i) {
        if (!cursor.movePosition(QTextCursor::PreviousWord))
            break;
    }
    const int cut = cursor.position();
    cursor.movePosition(QTextCursor::Start, QTextCursor::KeepAnchor);
    cursor.removeSelectedText();
    return cut;
}

// Keeps five lines, then two, then one, until the rest fits. Returns whether
// the document was too high to begin with.
bool trimBottom(QTextDocument &document, int height)
{
    if (document.size().height() <= height)
        return false;
    for (int n = 2; n >= 0; --n) {
        QTextCursor cursor(&document);
        for (int i = 0; i < n; ++i)
            cursor.movePosition(QTextCursor::Down, QTextCursor::KeepAnchor, n);
        cursor.movePosition(QTextCursor::EndOfLine, QTextCursor::MoveAnchor);
        cursor.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
        if (cursor.hasSelection())
            cursor.removeSelectedText();
        if (document.size().height() <= height)
            break;
    }
    return true;
}

// Whether the lines that a longer text would lay out the same way, all but
// the last two of the last block, are at least `lines` and reach below
// `height`. A longer text then has these lines too and is higher still.
bool linesCertainlyTaller(QTextDocument &document, int height, int lines)
{
    document.size();
    int certain = 0;
    bool taller = false;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        const QTextLayout *layout = block.layout();
        const int count = layout->lineCount() - (block.next().isValid() ? 0 : 2);
        for (int i = 0; i < count; ++i) {
            const QTextLine line = layout->lineAt(i);
            ++certain;
            taller = taller || layout->position().y() + line.y() + line.height() > height;
            if (taller && certain >= lines)
                return true;
        }
    }
    return false;
}

// Whether a line that starts where it would in a longer text is wider than
// the document: a longer text's line there begins with the same word, which
// is at least as wide. Only the last line of the last block may start
// elsewhere, if the line before it changes.
bool linesCertainlyWider(QTextDocument &document)
{
    document.size();
    const qreal available = document.textWidth() - 2 * document.documentMargin();
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        const QTextLayout *layout = block.layout();
        const int count = block.next().isValid() ? layout->lineCount() : qMax(1, layout->lineCount() - 1);
        for (int i = 0; i < count && i < layout->lineCount(); ++i) {
            if (layout->lineAt(i).naturalTextWidth() > available + 1)
                return true;
        }
    }
    return false;
}

} // namespace

// A text row as laid out for one size and search. Its text is kept, so
// that the address of the text's data tells that the row still shows it.
struct PreparedText
{
    QString source;
    QFont font;
    std::unique_ptr<QTextDocument> document;
    bool topCut = false;
    bool bottomCut = false;
};

namespace {

struct PreparedKey
{
    uint hashValue;
    uint itemType;
    QSize size;
    QString pattern;

    bool operator==(const PreparedKey &other) const
    {
        return hashValue == other.hashValue && itemType == other.itemType && size == other.size &&
               pattern == other.pattern;
    }
};

size_t qHash(const PreparedKey &key, size_t seed = 0)
{
    return qHashMulti(seed, key.hashValue, key.itemType, key.size.width(), key.size.height(), key.pattern);
}

// Each row costs one, and one more per 64K characters of its text, which
// stays alive as long as the row is kept, also after its item is deleted:
// a few hundred rows, or a dozen 2 MB texts, at most.
constexpr int kPreparedCost = 512;

int preparedCost(const QString &source)
{
    return int(qMin<qsizetype>(1 + source.size() / 65536, kPreparedCost / 8));
}

// What a text row lays out: the HTML of rich text, the plain text, or a link
// under its page title, although the address is searched first.
QString rowSource(const ItemData &item)
{
    if (item.itemType == ItemTypeRichText)
        return item.dataMap.value(MIME_HTML).toString();
    if (item.itemType == ItemTypeText)
        return item.dataMap.value(MIME_TEXT).toString();
    return QStringLiteral("<a href=\"%1\" style=\"color:blue;text-decoration:underline;\">%1</a>")
        .arg(item.hasWebTitle() ? item.webTitle() : item.text());
}

} // namespace

struct PreparedTexts
{
    QCache<PreparedKey, PreparedText> cache{kPreparedCost};
};

ItemDelegate::ItemDelegate(QObject *parent)
    : QStyledItemDelegate(parent), preparedTexts(std::make_unique<PreparedTexts>())
{
}

ItemDelegate::~ItemDelegate() = default;

QSize ItemDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    Q_UNUSED(index)
    // Constant, so that the view never measures a row.
    return QSize(option.rect.width(), kRowHeight);
}

void ItemDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option,
                         const QModelIndex &index) const
{
    if (!index.isValid())
        return;
    QString pattern;
    QModelIndex sourceIndex = index;
    if (const auto *proxy = qobject_cast<const QSortFilterProxyModel *>(index.model())) {
        pattern = proxy->filterRegularExpression().pattern();
        sourceIndex = proxy->mapToSource(index);
    }
    const auto *model = qobject_cast<const ClipboardModel *>(sourceIndex.model());

    painter->save();
    const QRect frameRect = option.rect.adjusted(2, 2, -2, -2);
    const int rowHeight = frameRect.height();
    drawFrame(painter, option, frameRect);

    ItemData copy;
    const ItemData *item = &copy;
    if (model && sourceIndex.isValid() && sourceIndex.row() < model->items().size())
        item = &model->items().at(sourceIndex.row());
    else
        copy = sourceIndex.data().value<ItemData>();

    // Time of the last use: the clock today, the date otherwise.
    painter->setPen(Qt::black);
    const QDateTime active = QDateTime::fromMSecsSinceEpoch(qint64(item->lastActiveTime));
    const QString time = active.date() == QDate::currentDate()
                             ? active.toString(QStringLiteral("hh:mm"))
                             : active.toString(QStringLiteral("yyyy/MM/dd"));
    painter->drawText(QRect(frameRect.right() - 10 - rowHeight, frameRect.top() + 6, rowHeight, 25),
                      Qt::AlignRight, time);

    const int rightMargin = drawRemark(painter, *item, frameRect);
    const QRect contentRect(frameRect.left() + rowHeight, frameRect.top() + 10,
                            frameRect.width() - rowHeight - rightMargin, rowHeight - 20);
    painter->setBrush(QColor(255, 255, 255, 255));

    switch (item->itemType) {
    case ItemTypeImage:
        drawImage(painter, *item, contentRect);
        break;
    case ItemTypeFile:
        drawFiles(painter, *item, pattern, contentRect);
        break;
    case ItemTypeRichText:
    case ItemTypeText:
    case ItemTypeLink:
        drawText(painter, *item, pattern, contentRect, frameRect);
        break;
    default:
        break;
    }

    const int iconWidth = drawIcon(painter, model, item->iconHashValue, frameRect);
    drawDigit(painter, option, index, sourceIndex.row(), iconWidth, frameRect);
    painter->restore();
}

void ItemDelegate::drawFrame(QPainter *painter, const QStyleOptionViewItem &option, const QRect &frameRect)
{
    painter->setRenderHint(QPainter::Antialiasing);
    if (option.state & QStyle::State_Selected)
        painter->setPen(QPen(kSelectedColor, 3, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin));
    else if (option.state & QStyle::State_MouseOver)
        painter->setPen(QPen(kSelectedColor, 2, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin));
    else
        painter->setPen(Qt::black);
    painter->drawRoundedRect(frameRect, 15, 15, Qt::AbsoluteSize);
}

// Returns the right margin of the content: the time column, or the remark's
// width when that is wider. A remark takes at most 26% of the row.
int ItemDelegate::drawRemark(QPainter *painter, const ItemData &item, const QRect &frameRect)
{
    const int rowHeight = frameRect.height();
    const QString remark = item.remark();
    if (remark.isEmpty())
        return rowHeight + 10;
    painter->setPen(Qt::gray);
    const QFontMetrics metrics = painter->fontMetrics();
    const int w = int(qMin(qreal(metrics.horizontalAdvance(remark)), frameRect.width() * 0.26));
    const QString elided = metrics.elidedText(remark, Qt::ElideRight, w + 10);
    QTextOption textOption(Qt::AlignRight | Qt::AlignBottom);
    textOption.setWrapMode(QTextOption::NoWrap);
    painter->drawText(QRectF(frameRect.right() - 10 - (w + 10), frameRect.bottom() - 31, w + 10, 25), elided,
                      textOption);
    return qMax(rowHeight, w) + 10;
}

void ItemDelegate::drawImage(QPainter *painter, const ItemData &item, const QRect &contentRect)
{
    const QByteArray png = item.dataMap.value(MIME_IMAGE_PNG).toByteArray();
    const ScaledKey key{item.hashValue, int(png.size()), contentRect.size()};
    QPixmap pixmap;
    if (const QPixmap *cached = scaledCache().object(key)) {
        pixmap = *cached;
    } else {
        QImage image = item.image();
        if (image.isNull())
            return;
        // Only shrunk, never enlarged, along the side that overflows more.
        if (image.width() > contentRect.width() || image.height() > contentRect.height()) {
            const double rw = double(image.width()) / contentRect.width();
            const double rh = double(image.height()) / contentRect.height();
            image = rw > rh ? image.scaledToWidth(contentRect.width(), Qt::SmoothTransformation)
                            : image.scaledToHeight(contentRect.height(), Qt::SmoothTransformation);
        }
        pixmap = QPixmap::fromImage(image);
        insertScaled(key, pixmap);
    }
    const QPoint center = contentRect.center();
    painter->drawPixmap(int(center.x() - pixmap.width() * 0.5), int(center.y() - pixmap.height() * 0.5),
                        pixmap);
}

void ItemDelegate::drawFiles(QPainter *painter, const ItemData &item, const QString &pattern,
                             const QRect &contentRect)
{
    const QList<QUrl> urls = deserializeUrls(item.dataMap.value(MIME_URI_LIST).toByteArray());
    QList<QUrl> shown;
    if (pattern.isEmpty()) {
        shown = urls;
    } else {
        for (const QUrl &url : urls) {
            if (QFileInfo(url.toLocalFile()).fileName().contains(pattern, Qt::CaseInsensitive))
                shown << url;
        }
    }
    if (shown.isEmpty())
        return;

    const QFileInfo fileInfo(shown.first().toLocalFile());
    const QRect iconRect(contentRect.left(), contentRect.center().y() - 8, 16, 16);
    painter->drawPixmap(iconRect, iconProvider().icon(fileInfo).pixmap(16, 16, QIcon::Normal, QIcon::Off));
    const QRect textRect(iconRect.right() + 5, iconRect.top(), contentRect.width() - 16, 16);

    QTextDocument document;
    document.setPlainText(fileInfo.fileName());
    if (!pattern.isEmpty())
        highlightAll(document, pattern);
    if (urls.size() > 1) {
        QTextCursor cursor(&document);
        cursor.movePosition(QTextCursor::End);
        cursor.insertText(QStringLiteral(" 等%1个文件").arg(urls.size()), QTextCharFormat());
    }

    // Shortened in the middle through the cursor, so the highlights of what remains stay.
    if (document.size().width() >= textRect.width()) {
        const QString plain = document.toPlainText();
        const QString elided = painter->fontMetrics().elidedText(plain, Qt::ElideMiddle, textRect.width());
        int p = 0;
        while (p < plain.size() && p < elided.size() && plain.at(p) == elided.at(p))
            ++p;
        if (p == elided.size())
            p = int(plain.size());
        int q = 0;
        for (int i = int(plain.size()) - 1, j = int(elided.size()) - 1; i > 0 && j > 0; --i, --j) {
            if (plain.at(i) != elided.at(j)) {
                q = i;
                break;
            }
        }
        if (p <= q) {
            QTextCursor cursor(&document);
            cursor.setPosition(p);
            cursor.setPosition(q + 1, QTextCursor::KeepAnchor);
            cursor.insertText(QStringLiteral("..."));
        }
    }

    const qreal docHeight = document.size().height();
    QRect docRect = textRect;
    docRect.moveTop(int(contentRect.center().y() - docHeight * 0.5));
    docRect.setHeight(int(docHeight));
    drawDocument(painter, document, docRect);
}

void ItemDelegate::drawText(QPainter *painter, const ItemData &item, const QString &pattern,
                            QRect contentRect, const QRect &frameRect) const
{
    contentRect.setHeight(contentRect.height() - 2);
    const PreparedText &text = prepareText(item, pattern, contentRect);
    QTextDocument &document = *text.document;

    const qreal docHeight = document.size().height();
    QRect docRect = contentRect;
    if (docHeight < contentRect.height()) {
        docRect = QRect(contentRect.left(), int(contentRect.center().y() - docHeight * 0.5),
                        contentRect.width(), int(docHeight));
    }
    drawDocument(painter, document, docRect);
    drawCutMarks(painter, document, text.topCut, text.bottomCut, item.itemType == ItemTypeLink, docRect,
                 frameRect);
}

const PreparedText &ItemDelegate::prepareText(const ItemData &item, const QString &pattern,
                                              const QRect &contentRect) const
{
    const QString source = rowSource(item);
    const PreparedKey key{item.hashValue, item.itemType, contentRect.size(), pattern};
    // The documents take the application's font, which may change.
    const QFont font;
    QCache<PreparedKey, PreparedText> &cache = preparedTexts->cache;
    if (PreparedText *known = cache.object(key); known && known->font == font) {
        // A kept text's data is never reused while it is kept, so the same
        // address is the same text.
        if (known->source.constData() == source.constData() && known->source.size() == source.size())
            return *known;
        // The same text again, as after a copy that was deleted and copied anew.
        if (known->source == source) {
            known->source = source;
            return *known;
        }
    }

    auto *text = new PreparedText{source, font, std::make_unique<QTextDocument>()};
    if (item.itemType != ItemTypeText ||
        !layOutWindow(*text->document, source, pattern, contentRect, text->topCut, text->bottomCut)) {
        text->document = std::make_unique<QTextDocument>();
        layOutWhole(*text->document, item.itemType, source, pattern, contentRect, text->topCut,
                    text->bottomCut);
    }
    // The cost never passes the maximum, so the cache takes the text.
    cache.insert(key, text, preparedCost(source));
    return *text;
}

void ItemDelegate::layOutWhole(QTextDocument &document, uint itemType, const QString &source,
                               const QString &pattern, const QRect &contentRect, bool &topCut,
                               bool &bottomCut)
{
    if (itemType == ItemTypeText)
        document.setPlainText(source);
    else
        document.setHtml(source);
    setUpDocument(document, contentRect.width());

    topCut = false;
    if (!pattern.isEmpty()) {
        const QSizeF size = document.size();
        if (size.width() > contentRect.width() || size.height() > contentRect.height())
            topCut = cutBeforeFirstHit(document, pattern) > 0;
        highlightAll(document, pattern);
    }
    bottomCut = trimBottom(document, contentRect.height());
}

// A long plain text is laid out only around what the row can show: from a
// little before the first hit to some lines after it, without the middle of
// long runs of letters and digits. The rows that come out
// are those of the whole text, which the checks below make sure of; when
// one fails the caller lays out the whole text.
bool ItemDelegate::layOutWindow(QTextDocument &document, const QString &text, const QString &pattern,
                                const QRect &contentRect, bool &topCut, bool &bottomCut)
{
    if (text.size() < kLongText || !windowSafe(text) || hasBlockSeparator(pattern))
        return false;
    const int width = contentRect.width();
    const int height = contentRect.height();
    const bool shortenRuns = drawsInertWithOwnGlyphs(document.defaultFont());

    qsizetype from = 0;
    qsizetype hit = -1;
    if (!pattern.isEmpty()) {
        // The whole text overflows if its first lines do.
        QTextDocument head;
        head.setPlainText(text.left(windowEnd(text, kHead)));
        setUpDocument(head, width);
        if (!linesCertainlyTaller(head, height, 1) && !linesCertainlyWider(head))
            return false;
        // Where the document's own search will find the first hit.
        QString searched = text;
        searched.replace(QChar::Nbsp, QLatin1Char(' '));
        hit = searched.indexOf(pattern, 0, Qt::CaseInsensitive);
        if (hit >= 0)
            from = contextStart(text, hit, shortenRuns);
    }
    const qsizetype hitFrom = hit >= 0 ? hit : from;
    const qsizetype hitTo = hit >= 0 ? hit + pattern.size() : from;
    qsizetype to = 0;
    const QString window =
        windowText(text, from, hitFrom, hitTo, shortenRuns, QFontMetricsF(document.defaultFont()), width, to);
    if (to < 0)
        return false;
    document.setPlainText(window);
    setUpDocument(document, width);

    topCut = false;
    if (!pattern.isEmpty()) {
        if (hit >= 0) {
            const int cut = cutBeforeFirstHit(document, pattern);
            // Stopping short of the window's start proves the same words were passed.
            if (cut < 0 || (from > 0 && cut < kMinContext))
                return false;
            topCut = from + cut > 0;
        }
        highlightAll(document, pattern);
    }
    if (to < text.size() && !linesCertainlyTaller(document, height, 5))
        return false;
    bottomCut = trimBottom(document, height);
    return true;
}

// Three small dots on a turned axis on each side where content was left out.
void ItemDelegate::drawCutMarks(QPainter *painter, const QTextDocument &document, bool topCut, bool bottomCut,
                                bool link, const QRect &docRect, const QRect &frameRect)
{
    const bool rightCut = document.size().width() > docRect.width();
    if (!topCut && !bottomCut && !rightCut)
        return;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(link ? Qt::blue : Qt::black);
    const QFontMetrics metrics = painter->fontMetrics();
    int dotWidth = metrics.horizontalAdvance(QLatin1Char('.'));
    if (dotWidth > 10) {
        // The first placeholder of this text is incomplete, so only the width fills in.
        LOG_WARNING(QStringLiteral("dotWidth % large than displayVSpace %2").arg(dotWidth));
        dotWidth = 10;
    }
    const auto drawMark = [&](const QPoint &origin, const QPoint &first) {
        painter->save();
        painter->translate(origin);
        painter->rotate(270);
        QRect dot(first, QSize(dotWidth, metrics.height()));
        for (int i = 0; i < 3; ++i) {
            painter->drawText(dot, 0, QStringLiteral("."));
            dot.moveTop(dot.top() + 5);
        }
        painter->restore();
    };
    if (topCut)
        drawMark(docRect.topLeft(), QPoint(0, -5));
    if (bottomCut) {
        drawMark(QPoint(docRect.left(), docRect.bottom()),
                 QPoint(-qMin(frameRect.bottom() - docRect.bottom(), dotWidth + 5), -5));
    }
    if (rightCut)
        drawMark(QPoint(docRect.right(), docRect.center().y()), QPoint(-6, 4));
    painter->restore();
}

// Returns the width that the icon takes, 64 when there is none.
int ItemDelegate::drawIcon(QPainter *painter, const ClipboardModel *model, uint iconHashValue,
                           const QRect &frameRect)
{
    QPixmap icon = model ? model->getIcon(iconHashValue) : QPixmap();
    if (icon.isNull())
        return kIconSize;
    if (icon.width() > kIconSize || icon.height() > kIconSize) {
        const ScaledKey key{quint64(icon.cacheKey()), 0, QSize(kIconSize, kIconSize)};
        if (const QPixmap *cached = scaledCache().object(key)) {
            icon = *cached;
        } else {
            icon = icon.width() > icon.height() ? icon.scaledToWidth(kIconSize, Qt::SmoothTransformation)
                                                : icon.scaledToHeight(kIconSize, Qt::SmoothTransformation);
            insertScaled(key, icon);
        }
    }
    painter->drawPixmap(QRect(frameRect.x() + 40 - icon.width() / 2, frameRect.y() + 40 - icon.height() / 2,
                              icon.width(), icon.height()),
                        icon);
    return icon.width();
}

// While Ctrl is held, numbers the rows on screen from the top one and records
// which source row each number stands for.
void ItemDelegate::drawDigit(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index,
                             int sourceRow, int iconWidth, const QRect &frameRect)
{
    if (!quickCopyModeOn)
        return;
    const auto *view = qobject_cast<const QAbstractItemView *>(option.widget);
    if (!view || !view->viewport()->rect().contains(frameRect.center()))
        return;
    if (firstVisibleRow > index.row())
        firstVisibleRow = index.row();
    const int n = index.row() - firstVisibleRow + 1;
    if (n < 1 || n > 9)
        return;
    visibleRowMap[n] = sourceRow;
    const int fontHeight = painter->fontMetrics().height();
    painter->drawText(QRectF(frameRect.x() + (40 - iconWidth / 2) / 2,
                             frameRect.center().y() - fontHeight / 2, 8, fontHeight),
                      QString::number(n), QTextOption());
}
