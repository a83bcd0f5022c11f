#include "list/proxymodel.h"

#include <QFileInfo>
#include <QTextDocument>

#include "common/mime.h"
#include "item/clipboardmodel.h"
#include "item/itemdata.h"
#include "list/filtermatchcache.h"

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

void ProxyModel::setFilterRegularExpression(const QRegularExpression &expression)
{
    QAbstractItemModel *source = sourceModel();
    if (!source) {
        QSortFilterProxyModel::setFilterRegularExpression(expression);
        return;
    }
    // The base class pays a pass over the whole tab for every run of rows
    // that comes or goes; a rebuild costs a sort, worth some hundred runs.
    const QRegularExpression previous = filterRegularExpression();
    if (matchCache)
        matchCache->takeMissesFrom(previous, expression);
    // Both places are found once, not per row; nothing in between asks for another.
    const int slot = matchCache && !expression.pattern().isEmpty() ? matchCache->slotOf(expression) : -1;
    const int previousSlot = matchCache && !previous.pattern().isEmpty() ? matchCache->slotOf(previous) : -1;
    const int sourceRows = source->rowCount();
    const int limit = 256;
    int changed = 0;
    for (int row = 0; row < sourceRows && changed <= limit; ++row) {
        if (acceptsRow(row, QModelIndex(), expression, slot) !=
            acceptsRow(row, QModelIndex(), previous, previousSlot))
            ++changed;
    }
    if (changed <= limit) {
        QSortFilterProxyModel::setFilterRegularExpression(expression);
        return;
    }
    // The base class's own pass then finds nothing to do.
    previousExpression = previous;
    answerAsBefore = true;
    QSortFilterProxyModel::setFilterRegularExpression(expression);
    answerAsBefore = false;
    previousExpression = QRegularExpression();
    invalidate();
}

bool ProxyModel::filterAcceptsRow(int source_row, const QModelIndex &source_parent) const
{
    return acceptsRow(source_row, source_parent,
                      answerAsBefore ? previousExpression : filterRegularExpression());
}

bool ProxyModel::acceptsRow(int sourceRow, const QModelIndex &sourceParent,
                            const QRegularExpression &expression, int slot) const
{
    ItemData copy;
    const ItemData *item = &copy;
    const ClipboardModel *model = clipboardModel.data();
    if (model && !sourceParent.isValid()) {
        const QList<ItemData> &items = model->items();
        if (sourceRow < 0 || sourceRow >= items.size())
            return false;
        item = &items.at(sourceRow);
    } else {
        copy = sourceModel()->index(sourceRow, 0, sourceParent).data().value<ItemData>();
    }

    if (!itemTypes.contains(item->itemType) && !item->hasCustomId(tabId))
        return false;

    if (expression.pattern().isEmpty())
        return true;

    // The cache knows the rows of a flat model only.
    FilterMatchCache *cache = matchCache.data();
    if (!cache || sourceParent.isValid())
        return matchesSearch(*item, expression, -1);
    if (slot < 0)
        slot = cache->slotOf(expression);
    switch (cache->answer(slot, sourceRow)) {
    case FilterMatchCache::Match:
        return true;
    case FilterMatchCache::NoMatch:
        return false;
    case FilterMatchCache::Unknown:
        break;
    }
    const bool match = matchesSearch(*item, expression, sourceRow);
    cache->setAnswer(slot, sourceRow, match);
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
    // An invalid expression matches nothing; asking would only warn on every text.
    if (!expression.isValid())
        return false;
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
