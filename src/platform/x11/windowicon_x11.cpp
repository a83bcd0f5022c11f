#include "platform/windowicon.h"

#include <cstdlib>
#include <memory>

#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QIcon>
#include <QImage>
#include <QProcess>
#include <QStandardPaths>
#include <QStringList>

#include "platform/x11/xatoms.h"
#include "platform/x11/xconnection.h"

namespace platform {

namespace {

// Enough for a few thousand managed windows.
constexpr uint32_t kClientListWords = 8192;
// _NET_WM_ICON may carry many sizes up to 512 px and more; 16 MiB is a cap
// against a broken client, not a size anyone uses.
constexpr uint32_t kIconWords = 4u << 20;
// Windows of one client asked for an icon at most; a program has few.
constexpr int kMaxCandidates = 8;
// An icon far larger than wanted is scaled down, so that stored icons stay small.
constexpr int kLargestKept = kProgramIconSize * 3 / 2;
// The desktop entries are read again after this long, when a lookup misses.
constexpr qint64 kDesktopIndexMaxAgeMs = 60 * 1000;

QPixmap scaledToWanted(const QImage &image)
{
    if (image.isNull())
        return QPixmap();
    if (image.width() > kLargestKept || image.height() > kLargestKept)
        return QPixmap::fromImage(
            image.scaled(kProgramIconSize, kProgramIconSize, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    return QPixmap::fromImage(image);
}

// _NET_WM_ICON: width, height, then width*height ARGB values, repeated per size.
QImage iconFromProperty(const PropertyReply &reply)
{
    if (!reply || reply->format != 32)
        return QImage();
    const auto *words = static_cast<const uint32_t *>(xcb_get_property_value(reply.get()));
    const qint64 count = xcb_get_property_value_length(reply.get()) / 4;

    QList<int> widths;
    QList<qint64> offsets;
    for (qint64 at = 0; at + 2 <= count;) {
        const qint64 width = words[at];
        const qint64 height = words[at + 1];
        const qint64 pixels = width * height;
        // A size that overruns the data ends the walk; what came before stands.
        if (width <= 0 || height <= 0 || width > 4096 || height > 4096 || pixels > count - at - 2)
            break;
        widths.append(static_cast<int>(width));
        offsets.append(at);
        at += 2 + pixels;
    }
    const int chosen = nearestIconWidth(widths);
    if (chosen < 0)
        return QImage();

    const qint64 at = offsets.at(chosen);
    const int width = static_cast<int>(words[at]);
    const int height = static_cast<int>(words[at + 1]);
    QImage image(width, height, QImage::Format_ARGB32);
    if (image.isNull())
        return QImage();
    const uint32_t *pixel = words + at + 2;
    for (int y = 0; y < height; ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < width; ++x)
            line[x] = *pixel++;
    }
    return image;
}

// The icon a top-level window of the same X client announces. Clipboard
// owners are mostly hidden helper windows; their client's managed windows
// share the id base.
QImage clientWindowIcon(WindowHandle window)
{
    const XConnection *x = XConnection::instance();
    if (!x || window == 0 || window > 0xFFFFFFFFu)
        return QImage();
    xcb_connection_t *conn = x->connection();
    const xcb_atom_t clientList = XAtoms::get(conn, "_NET_CLIENT_LIST");
    const xcb_atom_t wmIcon = XAtoms::get(conn, "_NET_WM_ICON");
    if (clientList == XCB_ATOM_NONE || wmIcon == XCB_ATOM_NONE)
        return QImage();

    const uint32_t idMask = xcb_get_setup(conn)->resource_id_mask;
    const auto xid = static_cast<xcb_window_t>(window);
    const xcb_window_t base = xid & ~idMask;
    PropertyReply list = takeProperty(
        conn, xcb_get_property(conn, 0, x->rootWindow(), clientList, XCB_ATOM_WINDOW, 0, kClientListWords));

    QList<xcb_window_t> candidates;
    // The window itself first, when it is a managed one (the foreground window).
    candidates.append(xid);
    if (list && list->format == 32) {
        const auto *windows = static_cast<const xcb_window_t *>(xcb_get_property_value(list.get()));
        const int count = xcb_get_property_value_length(list.get()) / 4;
        for (int i = 0; i < count && candidates.size() < kMaxCandidates; ++i) {
            if ((windows[i] & ~idMask) == base && windows[i] != xid)
                candidates.append(windows[i]);
        }
    }

    QList<xcb_get_property_cookie_t> cookies;
    for (xcb_window_t candidate : candidates)
        cookies.append(xcb_get_property(conn, 0, candidate, wmIcon, XCB_ATOM_CARDINAL, 0, kIconWords));
    QImage found;
    // Every reply is taken, also after a hit, so none is left queued.
    for (const xcb_get_property_cookie_t &cookie : cookies) {
        PropertyReply reply = takeProperty(conn, cookie);
        if (found.isNull())
            found = iconFromProperty(reply);
    }
    return found;
}

QPixmap iconPixmap(const QIcon &icon)
{
    if (icon.isNull())
        return QPixmap();
    return icon.pixmap(QSize(kProgramIconSize, kProgramIconSize), 1.0);
}

QPixmap namedIcon(const QString &name)
{
    if (name.isEmpty())
        return QPixmap();
    if (QFileInfo(name).isAbsolute())
        return QFileInfo::exists(name) ? iconPixmap(QIcon(name)) : QPixmap();
    const QPixmap themed = iconPixmap(QIcon::fromTheme(name));
    if (!themed.isNull())
        return themed;
    // Older programs install a bare picture under pixmaps/, outside any theme.
    static const QStringList suffixes = {QString(), QStringLiteral(".png"), QStringLiteral(".svg"),
                                         QStringLiteral(".xpm")};
    for (const QString &suffix : suffixes) {
        const QString file = QStandardPaths::locate(QStandardPaths::GenericDataLocation,
                                                    QStringLiteral("pixmaps/") + name + suffix);
        if (!file.isEmpty())
            return iconPixmap(QIcon(file));
    }
    return QPixmap();
}

// The program named by an Exec line: the first word that is neither "env"
// nor a variable assignment, quotes removed.
QString execProgram(const QString &exec)
{
    const QStringList words = QProcess::splitCommand(exec);
    for (const QString &word : words) {
        if (word == QLatin1String("env") ||
            (word.contains(QLatin1Char('=')) && !word.startsWith(QLatin1Char('/'))))
            continue;
        return QFileInfo(word).fileName();
    }
    return QString();
}

// Executable name -> Icon= value, from the .desktop files of the XDG data
// folders. Read on first need and again when stale or the folders changed.
QString desktopIconName(const QString &program)
{
    static QHash<QString, QString> index;
    static QStringList indexedFolders;
    static QElapsedTimer age;

    const QStringList folders = QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation);
    const bool stale = !age.isValid() || age.elapsed() > kDesktopIndexMaxAgeMs;
    if (folders != indexedFolders || (stale && !index.contains(program))) {
        index.clear();
        indexedFolders = folders;
        age.start();
        // Earlier folders take precedence, as they do for desktop entries.
        for (const QString &folder : folders) {
            QDirIterator it(folder, {QStringLiteral("*.desktop")}, QDir::Files, QDirIterator::Subdirectories);
            while (it.hasNext()) {
                QFile file(it.next());
                if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
                    continue;
                QString exec;
                QString tryExec;
                QString icon;
                bool inEntry = false;
                while (!file.atEnd()) {
                    const QString line = QString::fromUtf8(file.readLine()).trimmed();
                    if (line.startsWith(QLatin1Char('['))) {
                        // Actions have their own Exec lines; only the main entry counts.
                        inEntry = line == QLatin1String("[Desktop Entry]");
                        continue;
                    }
                    if (!inEntry)
                        continue;
                    if (line.startsWith(QLatin1String("Exec=")))
                        exec = line.mid(5);
                    else if (line.startsWith(QLatin1String("TryExec=")))
                        tryExec = line.mid(8);
                    else if (line.startsWith(QLatin1String("Icon=")))
                        icon = line.mid(5).trimmed();
                }
                if (icon.isEmpty())
                    continue;
                for (const QString &name : {execProgram(exec), execProgram(tryExec)}) {
                    if (!name.isEmpty() && !index.contains(name))
                        index.insert(name, icon);
                }
            }
        }
    }
    return index.value(program);
}

} // namespace

bool readProgramIcon(WindowHandle window, const QString &exePath, QPixmap &pixmap, QString &failure)
{
    pixmap = scaledToWanted(clientWindowIcon(window));
    if (!pixmap.isNull())
        return true;

    const QString program = QFileInfo(exePath).fileName();
    if (program.isEmpty()) {
        failure = QStringLiteral("no window icon and no program name");
        return false;
    }
    pixmap = namedIcon(program);
    if (!pixmap.isNull())
        return true;
    pixmap = namedIcon(desktopIconName(program));
    if (!pixmap.isNull())
        return true;
    failure = QStringLiteral("no window icon, theme icon or desktop entry for %1").arg(program);
    return false;
}

} // namespace platform
