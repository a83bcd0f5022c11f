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

public slots:
    void resort();

protected:
    bool filterAcceptsRow(int source_row, const QModelIndex &source_parent) const override;
    bool lessThan(const QModelIndex &source_left, const QModelIndex &source_right) const override;

private:
    bool matchesSearch(const ItemData &item, const QRegularExpression &expression, int sourceRow) const;
    QStringList derivedTexts(const ItemData &item, int sourceRow) const;

    const QList<uint> itemTypes;
    const uint tabId;
    // The source model when it is the history model, read without QVariant copies.
    QPointer<ClipboardModel> clipboardModel;
    QPointer<FilterMatchCache> matchCache;
};
