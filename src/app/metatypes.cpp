#include "app/metatypes.h"

#include <QList>
#include <QMetaType>
#include <QVariantMap>

#include "common/autodeleteitem.h"
#include "item/itemdata.h"
#include "item/ocrresult.h"

void registerMetaTypes()
{
    // Registration by name lets queued connections and QSettings' @Variant
    // values find the types; repeating it is harmless.
    qRegisterMetaType<ItemData>("ItemData");
    qRegisterMetaType<IconData>("IconData");
    qRegisterMetaType<OCRResult>("OCRResult");
    qRegisterMetaType<TabData>("TabData");
    qRegisterMetaType<AutoDeleteItem>("AutoDeleteItem");
    // The named form also registers the sequential iterable converters.
    qRegisterMetaType<QList<uint>>("QList<uint>");

    qRegisterMetaType<QList<ItemData>>();
    qRegisterMetaType<QList<IconData>>();
    qRegisterMetaType<QList<TabData>>();
    qRegisterMetaType<QList<OCRResult>>();
    qRegisterMetaType<QVariantMap>();
}
