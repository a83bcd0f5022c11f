#pragma once

#include <QByteArray>
#include <QStringList>
#include <QVariantMap>

// Identity and icon hashes. Both are the primary keys of stored rows, so they
// are computed by a fixed, seedless function that does not follow Qt's
// per-process seed nor change with a Qt upgrade.

// The hash of Qt 6's qHash(view, 0) over raw bytes, truncated to 32 bits.
uint stableBytesHash(const void *data, size_t size);

uint hashCombine(uint seed, uint value);

// Identity of an item: the given keys of the map, walked in key order.
uint hashDataMap(const QVariantMap &map, const QStringList &keys);
// The payload keys that make up an item's identity.
const QStringList &identityKeys();

// Key of an icon, from its PNG bytes.
uint hashBytes(const QByteArray &bytes);
