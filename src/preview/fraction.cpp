#include "preview/fraction.h"

#include <QList>

#include "common/log.h"

namespace {

// Lowers the count of `factor` in `from` if it holds one, else adds it to `to`.
void cancelOrAdd(QMap<int, int> &from, QMap<int, int> &to, int factor)
{
    auto it = from.find(factor);
    if (it != from.end() && it.value() > 0) {
        if (--it.value() == 0)
            from.erase(it);
        return;
    }
    ++to[factor];
}

QList<int> expanded(const QMap<int, int> &factors)
{
    QList<int> list;
    for (auto it = factors.cbegin(); it != factors.cend(); ++it) {
        for (int i = 0; i < it.value(); ++i)
            list.append(it.key());
    }
    return list;
}

} // namespace

void Fraction::clear()
{
    numes.clear();
    denos.clear();
}

void Fraction::set(int nume, int deno)
{
    clear();
    numes[nume] = 1;
    denos[deno] = 1;
}

void Fraction::multiply(int nume, int deno)
{
    cancelOrAdd(numes, denos, deno);
    cancelOrAdd(denos, numes, nume);
}

double Fraction::toDouble() const
{
    const QList<int> n = expanded(numes);
    const QList<int> d = expanded(denos);
    if (n.size() != d.size()) {
        LOG_ERROR(QStringLiteral("numes size not equal denos size"));
        return 1.0;
    }
    // Pairing the factors in ascending order keeps each ratio near 1, and the
    // same set of factors always gives the same double.
    double value = 1.0;
    for (int i = 0; i < n.size(); ++i)
        value *= double(n.at(i)) / double(d.at(i));
    return value;
}
