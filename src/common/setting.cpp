#include "common/setting.h"

#include <utility>

#include <QSettings>
#include <QStringList>
#include <QVariant>
#include <QVariantList>

namespace {
const QString kAutoCheckUpdate = QStringLiteral("about-autoCheckUpdate");
const QString kMainWindowWidth = QStringLiteral("MainWindowWidth");
const QString kMainWindowHeight = QStringLiteral("MainWindowHeight");
const QString kTabOrder = QStringLiteral("TabWidgetTabOrder");
const QString kParentAutoStart = QStringLiteral("SettingAutoStart");

// A stored tab order is normally a QList<uint> variant; a hand-edited
// "20, 21" arrives as a string list and is accepted when every entry is a
// number.
bool toUIntList(const QVariant &value, QList<uint> &list)
{
    if (value.metaType() == QMetaType::fromType<QList<uint>>()) {
        list = value.value<QList<uint>>();
        return true;
    }
    QVariantList entries;
    if (value.metaType() == QMetaType::fromType<QStringList>()) {
        const QStringList texts = value.toStringList();
        for (const QString &text : texts)
            entries.append(text.trimmed());
    } else if (value.metaType() == QMetaType::fromType<QVariantList>()) {
        entries = value.toList();
    } else {
        return false;
    }
    QList<uint> result;
    result.reserve(entries.size());
    for (const QVariant &entry : std::as_const(entries)) {
        bool ok = false;
        const uint id = entry.toUInt(&ok);
        if (!ok)
            return false;
        result.append(id);
    }
    list = result;
    return true;
}
} // namespace

Setting &Setting::instance()
{
    static Setting setting;
    return setting;
}

void Setting::init(const QString &dataDirectory)
{
    QSettings::setDefaultFormat(QSettings::IniFormat);
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, dataDirectory + QStringLiteral("/config"));
    // A second init (tests switch folders) flushes and replaces the old file.
    if (qsettings) {
        qsettings->sync();
        delete qsettings;
    }
    qsettings = new QSettings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("vorlik"),
                              QStringLiteral("vorlik"), this);
}

bool Setting::isAutoCheckUpdate() const
{
    if (!qsettings)
        return true;
    return qsettings->value(kAutoCheckUpdate, true).toBool();
}

void Setting::setAutoCheckUpdate(bool on)
{
    if (qsettings)
        qsettings->setValue(kAutoCheckUpdate, on);
}

bool Setting::getMainWindowSize(int &width, int &height) const
{
    if (!qsettings || !qsettings->contains(kMainWindowWidth) || !qsettings->contains(kMainWindowHeight))
        return false;
    bool widthOk = false;
    bool heightOk = false;
    const int storedWidth = qsettings->value(kMainWindowWidth).toInt(&widthOk);
    const int storedHeight = qsettings->value(kMainWindowHeight).toInt(&heightOk);
    if (!widthOk || !heightOk)
        return false;
    width = storedWidth;
    height = storedHeight;
    return true;
}

void Setting::setMainWindowSize(int width, int height)
{
    if (!qsettings)
        return;
    qsettings->setValue(kMainWindowWidth, width);
    qsettings->setValue(kMainWindowHeight, height);
    qsettings->sync();
}

bool Setting::getTabOrder(QList<uint> &list) const
{
    if (!qsettings || !qsettings->contains(kTabOrder))
        return false;
    const QVariant value = qsettings->value(kTabOrder);
    if (value.isNull())
        return false;
    return toUIntList(value, list);
}

void Setting::setTabOrder(const QList<uint> &list)
{
    if (!qsettings)
        return;
    qsettings->setValue(kTabOrder, QVariant::fromValue(list));
    qsettings->sync();
}

void Setting::removeTabOrder()
{
    if (qsettings)
        qsettings->remove(kTabOrder);
}

bool Setting::isParentAutoStart() const
{
    if (!qsettings)
        return false;
    return qsettings->value(kParentAutoStart, false).toBool();
}

void Setting::setParentAutoStart(bool on)
{
    if (qsettings)
        qsettings->setValue(kParentAutoStart, on);
}

void Setting::sync()
{
    if (qsettings)
        qsettings->sync();
}
