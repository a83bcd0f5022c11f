#include "platform/windowicon.h"

#include <cstdlib>

#include <QElapsedTimer>
#include <QHash>

namespace platform {

namespace {

// A program without an icon is asked again after this long: its windows may
// not have announced one yet when it first copied.
constexpr qint64 kMissRetryMs = 30 * 1000;

struct CachedIcon
{
    QPixmap pixmap;
    QString failure;
    // Started for misses only.
    QElapsedTimer missAge;
};

QHash<QString, CachedIcon> &iconCache()
{
    // Used from the GUI thread only, like the clipboard.
    static QHash<QString, CachedIcon> cache;
    return cache;
}

} // namespace

bool programIcon(WindowHandle window, const QString &exePath, QPixmap &pixmap, QString &failure)
{
    QHash<QString, CachedIcon> &cache = iconCache();
    const auto it = cache.constFind(exePath);
    if (it != cache.constEnd() && (!it->pixmap.isNull() || it->missAge.elapsed() < kMissRetryMs)) {
        pixmap = it->pixmap;
        failure = it->failure;
        return !pixmap.isNull();
    }

    CachedIcon entry;
    const bool found =
        readProgramIcon(window, exePath, entry.pixmap, entry.failure) && !entry.pixmap.isNull();
    if (!found) {
        entry.pixmap = QPixmap();
        entry.missAge.start();
    }
    pixmap = entry.pixmap;
    failure = entry.failure;
    cache.insert(exePath, entry);
    return found;
}

void clearProgramIconCache()
{
    iconCache().clear();
}

int nearestIconWidth(const QList<int> &widths, int target)
{
    int best = -1;
    for (int i = 0; i < widths.size(); ++i) {
        if (best < 0) {
            best = i;
            continue;
        }
        const int distance = std::abs(widths.at(i) - target);
        const int bestDistance = std::abs(widths.at(best) - target);
        // Equal widths keep the later one: callers list the large icon last.
        if (distance < bestDistance || (distance == bestDistance && widths.at(i) >= widths.at(best)))
            best = i;
    }
    return best;
}

} // namespace platform
