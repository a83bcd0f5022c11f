#include "common/autodeleteitem.h"

#include <QList>

QDataStream &operator<<(QDataStream &stream, const AutoDeleteItem &item)
{
    stream << item.deleteTime << item.index;
    return stream;
}

QDataStream &operator>>(QDataStream &stream, AutoDeleteItem &item)
{
    // Read into temporaries so a short stream leaves the target untouched.
    qint64 deleteTime = 0;
    qint32 index = 0;
    stream >> deleteTime >> index;
    if (stream.status() == QDataStream::Ok) {
        item.deleteTime = deleteTime;
        item.index = index;
    }
    return stream;
}

const QList<AutoDeleteItem> &autoDeleteChoices()
{
    static const QList<AutoDeleteItem> choices = {
        {86400000LL, 0},    {604800000LL, 1},      {2592000000LL, 2}, {15552000000LL, 3},
        {31536000000LL, 4}, {31536000000000LL, 5}, // a thousand years: "never", without a special case
                                                   // downstream
    };
    return choices;
}
