#include "item/itemhash.h"

#include <cstdint>
#include <cstring>

#include "common/mime.h"

namespace {

quint64 loadLittleEndian64(const uchar *p)
{
    quint64 value = 0;
    for (int i = 7; i >= 0; --i)
        value = (value << 8) | p[i];
    return value;
}

quint64 rotateLeft(quint64 x, int bits)
{
    return (x << bits) | (x >> (64 - bits));
}

// 64-bit murmur hash, used by Qt for inputs of at most eight bytes.
quint64 murmurHash64(const uchar *data, size_t len, quint64 seed)
{
    const quint64 m = 0xc6a4a7935bd1e995ULL;
    const int r = 47;
    quint64 h = seed ^ (quint64(len) * m);

    const uchar *end = data + (len & ~size_t(7));
    for (; data != end; data += 8) {
        quint64 k = loadLittleEndian64(data);
        k *= m;
        k ^= k >> r;
        k *= m;
        h ^= k;
        h *= m;
    }

    const size_t rest = len & 7;
    if (rest) {
        // Unlike the blocks, the tail is read with its first byte most significant.
        quint64 k = 0;
        for (size_t i = 0; i < rest; ++i)
            k = (k << 8) | data[i];
        h ^= k;
        h *= m;
    }

    h ^= h >> r;
    h *= m;
    h ^= h >> r;
    return h;
}

struct SipState
{
    quint64 v0, v1, v2, v3;

    void round()
    {
        v0 += v1;
        v1 = rotateLeft(v1, 13);
        v1 ^= v0;
        v0 = rotateLeft(v0, 32);
        v2 += v3;
        v3 = rotateLeft(v3, 16);
        v3 ^= v2;
        v0 += v3;
        v3 = rotateLeft(v3, 21);
        v3 ^= v0;
        v2 += v1;
        v1 = rotateLeft(v1, 17);
        v1 ^= v2;
        v2 = rotateLeft(v2, 32);
    }
};

// SipHash with one compression and two finalisation rounds (SipHash-1-2), keyed
// by (k0, k1); Qt's choice for longer inputs.
quint64 sipHash12(const uchar *data, size_t len, quint64 k0, quint64 k1)
{
    SipState s{0x736f6d6570736575ULL ^ k0, 0x646f72616e646f6dULL ^ k1, 0x6c7967656e657261ULL ^ k0,
               0x7465646279746573ULL ^ k1};

    const uchar *end = data + (len & ~size_t(7));
    for (; data != end; data += 8) {
        const quint64 m = loadLittleEndian64(data);
        s.v3 ^= m;
        s.round();
        s.v0 ^= m;
    }

    quint64 b = quint64(len) << 56;
    for (size_t i = len & 7; i > 0; --i)
        b |= quint64(data[i - 1]) << (8 * (i - 1));

    s.v3 ^= b;
    s.round();
    s.v0 ^= b;
    s.v2 ^= 0xff;
    s.round();
    s.round();
    return s.v0 ^ s.v1 ^ s.v2 ^ s.v3;
}

uint hashOfString(const QString &text)
{
    return stableBytesHash(text.constData(), size_t(text.size()) * sizeof(QChar));
}

} // namespace

uint stableBytesHash(const void *data, size_t size)
{
    // Seed 0 throughout: the second SipHash key is the length, as in Qt's unseeded path.
    const auto *bytes = static_cast<const uchar *>(data);
    static const uchar empty = 0;
    if (!bytes)
        bytes = &empty;
    const quint64 full = size <= 8 ? murmurHash64(bytes, size, 0) : sipHash12(bytes, size, 0, size);
    return uint(full);
}

uint hashCombine(uint seed, uint value)
{
    return seed ^ (value + 0x9E3779B9U + (seed << 6) + (seed >> 2));
}

uint hashDataMap(const QVariantMap &map, const QStringList &keys)
{
    uint seed = 666;
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        if (!keys.contains(it.key()))
            continue;
        seed = hashCombine(seed, hashOfString(it.key()));
        // Strings and their UTF-8 bytes hash alike, so a reload keeps the identity.
        const QByteArray value = it.value().toByteArray();
        seed = hashCombine(seed, stableBytesHash(value.constData(), size_t(value.size())));
    }
    return seed;
}

const QStringList &identityKeys()
{
    static const QStringList keys{MIME_TEXT, MIME_IMAGE_PNG, MIME_URI_LIST};
    return keys;
}

uint hashBytes(const QByteArray &bytes)
{
    return hashCombine(666, stableBytesHash(bytes.constData(), size_t(bytes.size())));
}
