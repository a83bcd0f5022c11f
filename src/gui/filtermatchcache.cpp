#include "gui/filtermatchcache.h"

#include <QAbstractItemModel>

namespace {

// A few recent expressions are kept, so that tabs which lag one keystroke
// behind the others do not throw away each other's answers.
constexpr std::size_t kPatternSlots = 4;

} // namespace

FilterMatchCache *FilterMatchCache::attach(QAbstractItemModel *model)
{
    if (!model)
        return nullptr;
    if (auto *cache = model->findChild<FilterMatchCache *>(QString(), Qt::FindDirectChildrenOnly))
        return cache;
    return new FilterMatchCache(model);
}

FilterMatchCache::FilterMatchCache(QAbstractItemModel *model) : QObject(model), model(model)
{
    derived.resize(model->rowCount());
    patternSlots.reserve(kPatternSlots);
    connect(model, &QAbstractItemModel::rowsInserted, this, &FilterMatchCache::onRowsInserted);
    connect(model, &QAbstractItemModel::rowsRemoved, this, &FilterMatchCache::onRowsRemoved);
    connect(model, &QAbstractItemModel::dataChanged, this, &FilterMatchCache::onDataChanged);
    // Anything that reorders rows wholesale makes every entry meaningless.
    connect(model, &QAbstractItemModel::modelReset, this, &FilterMatchCache::forgetAll);
    connect(model, &QAbstractItemModel::layoutChanged, this, &FilterMatchCache::forgetAll);
    connect(model, &QAbstractItemModel::rowsMoved, this, &FilterMatchCache::forgetAll);
}

FilterMatchCache::Answer FilterMatchCache::answer(const QRegularExpression &expression, int row)
{
    const PatternSlot &slot = slotFor(expression);
    if (row < 0 || row >= slot.answers.size())
        return Unknown;
    return Answer(slot.answers.at(row));
}

void FilterMatchCache::setAnswer(const QRegularExpression &expression, int row, bool match)
{
    PatternSlot &slot = slotFor(expression);
    if (row >= 0 && row < slot.answers.size())
        slot.answers[row] = match ? Match : NoMatch;
}

const QStringList *FilterMatchCache::derivedTexts(int row) const
{
    if (row < 0 || row >= derived.size() || !derived.at(row).known)
        return nullptr;
    return &derived.at(row).texts;
}

void FilterMatchCache::setDerivedTexts(int row, const QStringList &texts)
{
    if (row < 0 || row >= derived.size())
        return;
    derived[row] = Derived{true, texts};
}

FilterMatchCache::PatternSlot &FilterMatchCache::slotFor(const QRegularExpression &expression)
{
    ++useCounter;
    const QString pattern = expression.pattern();
    const auto options = expression.patternOptions();
    PatternSlot *oldest = nullptr;
    for (PatternSlot &slot : patternSlots) {
        if (slot.options == options && slot.pattern == pattern) {
            slot.lastUse = useCounter;
            return slot;
        }
        if (!oldest || slot.lastUse < oldest->lastUse)
            oldest = &slot;
    }
    if (patternSlots.size() < kPatternSlots) {
        patternSlots.emplace_back();
        oldest = &patternSlots.back();
    }
    oldest->pattern = pattern;
    oldest->options = options;
    oldest->answers.fill(Unknown, derived.size());
    oldest->lastUse = useCounter;
    return *oldest;
}

void FilterMatchCache::onRowsInserted(const QModelIndex &parent, int first, int last)
{
    if (parent.isValid())
        return;
    const int count = last - first + 1;
    if (first < 0 || first > derived.size() || count < 1) {
        forgetAll();
        return;
    }
    derived.insert(first, count, Derived());
    for (PatternSlot &slot : patternSlots)
        slot.answers.insert(first, count, Unknown);
}

void FilterMatchCache::onRowsRemoved(const QModelIndex &parent, int first, int last)
{
    if (parent.isValid())
        return;
    const int count = last - first + 1;
    if (first < 0 || first + count > derived.size() || count < 1) {
        forgetAll();
        return;
    }
    derived.remove(first, count);
    for (PatternSlot &slot : patternSlots)
        slot.answers.remove(first, count);
}

void FilterMatchCache::onDataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight)
{
    // A change without a valid range may have touched any row.
    if (!topLeft.isValid() || !bottomRight.isValid()) {
        forgetAll();
        return;
    }
    const int first = qMax(0, topLeft.row());
    const int last = qMin(int(derived.size()) - 1, bottomRight.row());
    for (int row = first; row <= last; ++row) {
        derived[row] = Derived();
        for (PatternSlot &slot : patternSlots)
            slot.answers[row] = Unknown;
    }
}

void FilterMatchCache::forgetAll()
{
    const int rows = model->rowCount();
    derived.clear();
    derived.resize(rows);
    for (PatternSlot &slot : patternSlots)
        slot.answers.fill(Unknown, rows);
}
