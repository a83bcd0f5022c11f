#include "common/historysettings.h"

#include <QSettings>
#include <QVariant>

#include "common/setting.h"

namespace HistorySettings {
namespace {
QSettings *store()
{
    return Setting::instance().settings();
}

bool readBool(const QString &key, bool fallback)
{
    QSettings *settings = store();
    if (!settings)
        return fallback;
    return settings->value(key, fallback).toBool();
}

// Numbers come back from the INI file as text. Text that is no number falls
// back on the default rather than on 0, which as a limit would empty the history.
uint readUInt(const QString &key, uint fallback)
{
    QSettings *settings = store();
    if (!settings)
        return fallback;
    bool ok = false;
    const uint value = settings->value(key, fallback).toUInt(&ok);
    return ok ? value : fallback;
}

QKeySequence readKeySequence(const QString &key, const QKeySequence &fallback)
{
    QSettings *settings = store();
    if (!settings || !settings->contains(key))
        return fallback;
    const QVariant value = settings->value(key);
    if (!value.canConvert<QKeySequence>())
        return fallback;
    return value.value<QKeySequence>();
}
} // namespace

AutoDeleteItem defaultAutoDeleteItem()
{
    return autoDeleteChoices().at(defaultAutoDeleteIndex);
}

QKeySequence defaultActiveMainWnd()
{
    return QKeySequence(Qt::CTRL | Qt::Key_T);
}

QKeySequence defaultCopyAsPlainText()
{
    return QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C);
}

void seedDefaults(QSettings *settings)
{
    if (!settings)
        return;
    const auto seed = [settings](const QString &key, const QVariant &value) {
        if (!settings->contains(key))
            settings->setValue(key, value);
    };
    seed(keyAutoStart, defaultAutoStart);
    seed(keyRunAsAdmin, defaultRunAsAdmin);
    seed(keyAutoDeleteTime, QVariant::fromValue(defaultAutoDeleteItem()));
    seed(keySingleSizeLimit, defaultSingleSizeLimitMb);
    seed(keyTotalSizeLimit, defaultTotalSizeLimitMb);
    seed(keyTotalCntLimit, defaultTotalCntLimit);
    seed(keyExceedLimitNotify, defaultExceedLimitNotify);
    seed(keyActiveMainWnd, defaultActiveMainWnd());
    seed(keyCopyAsPlainText, defaultCopyAsPlainText());
}

bool autoStart()
{
    return readBool(keyAutoStart, defaultAutoStart);
}

bool runAsAdmin()
{
    return readBool(keyRunAsAdmin, defaultRunAsAdmin);
}

AutoDeleteItem autoDeleteItem()
{
    QSettings *settings = store();
    if (!settings)
        return defaultAutoDeleteItem();
    const QVariant value = settings->value(keyAutoDeleteTime);
    // Without the registered type the stored value reads back invalid.
    if (value.metaType() != QMetaType::fromType<AutoDeleteItem>())
        return defaultAutoDeleteItem();
    return value.value<AutoDeleteItem>();
}

uint singleSizeLimitMb()
{
    return readUInt(keySingleSizeLimit, defaultSingleSizeLimitMb);
}

uint totalSizeLimitMb()
{
    return readUInt(keyTotalSizeLimit, defaultTotalSizeLimitMb);
}

uint totalCntLimit()
{
    return readUInt(keyTotalCntLimit, defaultTotalCntLimit);
}

bool exceedLimitNotify()
{
    return readBool(keyExceedLimitNotify, defaultExceedLimitNotify);
}

qint64 autoDeleteTime()
{
    const qint64 time = autoDeleteItem().deleteTime;
    // A retention of no time at all would expire the whole history at once.
    return time > 0 ? time : defaultAutoDeleteItem().deleteTime;
}

QKeySequence activeMainWndShortcut()
{
    return readKeySequence(keyActiveMainWnd, defaultActiveMainWnd());
}

QKeySequence copyAsPlainTextShortcut()
{
    return readKeySequence(keyCopyAsPlainText, defaultCopyAsPlainText());
}
} // namespace HistorySettings
