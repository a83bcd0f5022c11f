#pragma once

#include <QList>
#include <QObject>
#include <QRegularExpression>
#include <QStringList>

#include <vector>

class QAbstractItemModel;

// What the tab filters learn about the rows of one source model, shared by
// all of them: every tab gets the same search expression, so the answer for
// a row is computed once and read by the others. Also keeps the searchable
// texts that are costly to derive (the raw text of rich text, file names).
//
// Entries are per source row and follow the model's row signals. The cache
// is a child of the model and is attached before any proxy connects to it,
// so a changed row is forgotten before any proxy filters it again.
class FilterMatchCache : public QObject
{
    Q_OBJECT
public:
    enum Answer : qint8
    {
        Unknown = 0,
        Match = 1,
        NoMatch = 2,
    };

    // The cache of `model`, made on first use.
    static FilterMatchCache *attach(QAbstractItemModel *model);

    // The place of the answers for `expression`, made on first use; valid
    // until the next call.
    int slotOf(const QRegularExpression &expression);
    // Typing on narrows a search: where `previous` found nothing, a literal
    // `expression` that contains the literal `previous` can find nothing
    // either, so those rows need no match. Does nothing for other pairs.
    void takeMissesFrom(const QRegularExpression &previous, const QRegularExpression &expression);
    // Unknown also for a row it does not know.
    Answer answer(int slot, int row) const;
    void setAnswer(int slot, int row, bool match);

    // The derived texts of `row`, or null if they are not known yet.
    const QStringList *derivedTexts(int row) const;
    void setDerivedTexts(int row, const QStringList &texts);

private:
    explicit FilterMatchCache(QAbstractItemModel *model);

    // The answers of one expression, one per source row.
    struct PatternSlot
    {
        QRegularExpression expression;
        QList<qint8> answers;
        quint64 lastUse = 0;
    };
    struct Derived
    {
        bool known = false;
        QStringList texts;
    };

    void onRowsInserted(const QModelIndex &parent, int first, int last);
    void onRowsRemoved(const QModelIndex &parent, int first, int last);
    void onDataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight);
    void forgetAll();

    QAbstractItemModel *model = nullptr;
    std::vector<PatternSlot> patternSlots;
    QList<Derived> derived;
    quint64 useCounter = 0;
    int lastSlot = -1;
};
