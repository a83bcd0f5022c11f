#pragma once

#include <QImage>
#include <QVariantMap>

class QMimeData;

// Turns the system's clipboard formats into an item's data map: an image as
// PNG, else files that exist, else text; text that is one URL makes a link.
// Returns whether an item type was found.
bool cloneData(const QMimeData *mimeData, QVariantMap &dataMap, uint &itemType, QImage &image);
