#pragma once

#include <QDataStream>
#include <QMetaType>

// The retention setting: how long an item stays after its last use, and the
// position of that choice in the settings page's combo box.
struct AutoDeleteItem
{
    qint64 deleteTime = 2592000000LL; // 30 days
    qint32 index = 2;

    bool operator==(const AutoDeleteItem &other) const
    {
        return deleteTime == other.deleteTime && index == other.index;
    }
};

QDataStream &operator<<(QDataStream &stream, const AutoDeleteItem &item);
QDataStream &operator>>(QDataStream &stream, AutoDeleteItem &item);

// The six choices, by combo box index.
const QList<AutoDeleteItem> &autoDeleteChoices();

Q_DECLARE_METATYPE(AutoDeleteItem)
