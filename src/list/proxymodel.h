#pragma once

#include <QList>
#include <QPointer>
#include <QSortFilterProxyModel>

class ClipboardModel;
class FilterMatchCache;
class ItemData;

// One tab's view of the shared history: which items belong to the tab, the
// search over them, and the most recently used item on top.
class ProxyModel : public QSortFilterProxyModel
{
    Q_OBJECT
public:
    ProxyModel(const QList<uint> &itemTypes, uint tabId);

    void setSourceModel(QAbstractItemModel *sourceModel) override;

    // Same outcome as the base class's, but a search that shows or hides many
    // rows rebuilds the tab in one sorted pass: the base class pays a full
    // update for every run of rows that comes or goes, which is quadratic
    // when a search is emptied in a long history.
    using QSortFilterProxyModel::setFilterRegularExpression;
    void setFilterRegularExpression(const QRegularExpression &expression);

public slots:
    void resort();

protected:
    bool filterAcceptsRow(int source_row, const QModelIndex &source_parent) const override;
    bool lessThan(const QModelIndex &source_left, const QModelIndex &source_right) const override;

private:
    // `slot` is the cache's place for `expression` when the caller knows it.
    bool acceptsRow(int sourceRow, const QModelIndex &sourceParent, const QRegularExpression &expression,
                    int slot = -1) const;
    bool matchesSearch(const ItemData &item, const QRegularExpression &expression, int sourceRow) const;
    QStringList derivedTexts(const ItemData &item, int sourceRow) const;

    const QList<uint> itemTypes;
    const uint tabId;
    // The source model when it is the history model, read without QVariant copies.
    QPointer<ClipboardModel> clipboardModel;
    QPointer<FilterMatchCache> matchCache;
    // While set, the filter answers with the expression it had before.
    bool answerAsBefore = false;
    QRegularExpression previousExpression;
};
