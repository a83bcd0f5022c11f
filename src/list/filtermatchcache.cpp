#include "list/filtermatchcache.h"

#include <QAbstractItemModel>

namespace {

// A few recent expressions are kept, so that tabs which lag one keystroke
// behind the others do not throw away each other's answers.
constexpr std::size_t kPatternSlots = 4;

// A pattern without metacharacters matches its own text, character by
// character; without full case folding a caseless match has the same length.
bool isLiteral(const QString &pattern)
{
    static const QString metacharacters = QStringLiteral("\\^$.[|()?*+{");
    for (const QChar c : pattern) {
        if (metacharacters.contains(c))
            return false;
    }
    return !pattern.isEmpty();
}

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

FilterMatchCache::Answer FilterMatchCache::answer(int slot, int row) const
{
    if (slot < 0 || slot >= int(patternSlots.size()))
        return Unknown;
    const QList<qint8> &answers = patternSlots[std::size_t(slot)].answers;
    if (row < 0 || row >= answers.size())
        return Unknown;
    return Answer(answers.at(row));
}

void FilterMatchCache::setAnswer(int slot, int row, bool match)
{
    if (slot < 0 || slot >= int(patternSlots.size()))
        return;
    QList<qint8> &answers = patternSlots[std::size_t(slot)].answers;
    if (row >= 0 && row < answers.size())
        answers[row] = match ? Match : NoMatch;
}

void FilterMatchCache::takeMissesFrom(const QRegularExpression &previous,
                                      const QRegularExpression &expression)
{
    // Extended syntax would make spaces and '#' special.
    if (previous.patternOptions() != expression.patternOptions() ||
        (expression.patternOptions() & QRegularExpression::ExtendedPatternSyntaxOption) ||
        !isLiteral(previous.pattern()) || !isLiteral(expression.pattern()) ||
        !expression.pattern().contains(previous.pattern()) || !previous.isValid())
        return;
    int previousSlot = -1;
    for (int i = 0; i < int(patternSlots.size()); ++i) {
        if (patternSlots[std::size_t(i)].expression == previous)
            previousSlot = i;
    }
    if (previousSlot < 0)
        return;
    const int slot = slotOf(expression);
    if (slot == previousSlot)
        return;
    const QList<qint8> &misses = patternSlots[std::size_t(previousSlot)].answers;
    QList<qint8> &answers = patternSlots[std::size_t(slot)].answers;
    for (int row = 0; row < answers.size() && row < misses.size(); ++row) {
        if (misses.at(row) == NoMatch)
            answers[row] = NoMatch;
    }
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

int FilterMatchCache::slotOf(const QRegularExpression &expression)
{
    ++useCounter;
    // Asked once per row: the expression of the last call is the one found
    // by comparing shared data alone.
    if (lastSlot >= 0 && patternSlots[std::size_t(lastSlot)].expression == expression) {
        patternSlots[std::size_t(lastSlot)].lastUse = useCounter;
        return lastSlot;
    }
    int chosen = -1;
    for (int i = 0; i < int(patternSlots.size()); ++i) {
        if (patternSlots[std::size_t(i)].expression == expression) {
            chosen = i;
            break;
        }
    }
    if (chosen < 0) {
        if (patternSlots.size() < kPatternSlots) {
            patternSlots.emplace_back();
            chosen = int(patternSlots.size()) - 1;
        } else {
            chosen = 0;
            for (int i = 1; i < int(patternSlots.size()); ++i) {
                if (patternSlots[std::size_t(i)].lastUse < patternSlots[std::size_t(chosen)].lastUse)
                    chosen = i;
            }
        }
        PatternSlot &slot = patternSlots[std::size_t(chosen)];
        slot.expression = expression;
        slot.answers.fill(Unknown, derived.size());
    }
    patternSlots[std::size_t(chosen)].lastUse = useCounter;
    lastSlot = chosen;
    return chosen;
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
