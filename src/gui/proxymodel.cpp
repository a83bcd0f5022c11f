#include "gui/proxymodel.h"

#include <QFileInfo>
#include <QTextDocument>

#include "common/mime.h"
#include "gui/filtermatchcache.h"
#include "item/clipboardmodel.h"
#include "item/itemdata.h"

namespace {

bool matches(const QRegularExpression &expression, const QString &text)
{
    return expression.match(text).hasMatch();
}

} // namespace

ProxyModel::ProxyModel(const QList<uint> &itemTypes, uint tabId) : itemTypes(itemTypes), tabId(tabId) {}

void ProxyModel::setSourceModel(QAbstractItemModel *sourceModel)
{
    clipboardModel = qobject_cast<ClipboardModel *>(sourceModel);
    // Before the base class connects: the shared cache must hear of a changed
    // row before this proxy filters it again.
    matchCache = FilterMatchCache::attach(sourceModel);
    QSortFilterProxyModel::setSourceModel(sourceModel);
}

void ProxyModel::resort()
{
    sort(0, Qt::AscendingOrder);
}

bool ProxyModel::filterAcceptsRow(int source_row, const QModelIndex &source_parent) const
{
    ItemData copy;
    const ItemData *item = &copy;
    if (clipboardModel && !source_parent.isValid()) {
        if (source_row < 0 || source_row >= clipboardModel->items().size())
            return false;
        item = &clipboardModel->items().at(source_row);
    } else {
        copy = sourceModel()->index(source_row, 0, source_parent).data().value<ItemData>();
    }

    if (!itemTypes.contains(item->itemType) && !item->hasCustomId(tabId))
        return false;

    const QRegularExpression expression = filterRegularExpression();
    if (expression.pattern().isEmpty())
        return true;

    // The cache knows the rows of a flat model only.
    if (!matchCache || source_parent.isValid())
        return matchesSearch(*item, expression, -1);
    switch (matchCache->answer(expression, source_row)) {
    case FilterMatchCache::Match:
        return true;
    case FilterMatchCache::NoMatch:
        return false;
    case FilterMatchCache::Unknown:
        break;
    }
    const bool match = matchesSearch(*item, expression, source_row);
    matchCache->setAnswer(expression, source_row, match);
    return match;
}

bool ProxyModel::lessThan(const QModelIndex &source_left, const QModelIndex &source_right) const
{
    // Greatest lastActiveTime first under the ascending order the tabs use.
    if (clipboardModel) {
        const QList<ItemData> &items = clipboardModel->items();
        const int left = source_left.row();
        const int right = source_right.row();
        if (left >= 0 && left < items.size() && right >= 0 && right < items.size())
            return items.at(left).lastActiveTime > items.at(right).lastActiveTime;
    }
    return source_left.data().value<ItemData>().lastActiveTime >
           source_right.data().value<ItemData>().lastActiveTime;
}

bool ProxyModel::matchesSearch(const ItemData &item, const QRegularExpression &expression,
                               int sourceRow) const
{
    // The remark makes any item findable, also an image without text.
    const QString remark = item.remark();
    if (!remark.isEmpty() && matches(expression, remark))
        return true;

    switch (item.itemType) {
    case ItemTypeText:
        return matches(expression, item.dataMap.value(MIME_TEXT).toString());
    case ItemTypeImage:
        for (const OCRResult &result : item.ocrResults) {
            if (matches(expression, result.text))
                return true;
        }
        return false;
    case ItemTypeLink:
        return matches(expression, item.text()) ||
               (item.hasWebTitle() && matches(expression, item.webTitle()));
    case ItemTypeRichText:
    case ItemTypeFile:
        for (const QString &text : derivedTexts(item, sourceRow)) {
            if (matches(expression, text))
                return true;
        }
        return false;
    default:
        return matches(expression, QString());
    }
}

// The raw text of rich text, without its tags, or the names of the files;
// remembered per row because building them costs more than the match.
QStringList ProxyModel::derivedTexts(const ItemData &item, int sourceRow) const
{
    if (matchCache) {
        if (const QStringList *known = matchCache->derivedTexts(sourceRow))
            return *known;
    }
    QStringList texts;
    if (item.itemType == ItemTypeRichText) {
        QTextDocument document;
        document.setHtml(item.dataMap.value(MIME_HTML).toString());
        texts << document.toRawText();
    } else {
        // Only the name is searched, never the folder it lies in.
        for (const QUrl &url : item.urls())
            texts << QFileInfo(url.toLocalFile()).fileName();
    }
    if (matchCache)
        matchCache->setDerivedTexts(sourceRow, texts);
    return texts;
}
