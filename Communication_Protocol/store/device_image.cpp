#include "store/device_image.h"

#include "Communication_Protocol.h"

#include <cstring>

namespace
{
QByteArray &findOrCreate(int station, int key, bool &created)
{
    QMap<int, QByteArray> &images = DataStorage[station];
    auto image = images.find(key);
    created = image == images.end();
    if (created)
        image = images.insert(key, QByteArray());
    return *image;
}
} // namespace

DeviceImage::DeviceImage(int station, int key)
    : lock(storeInnerLock, Rank::StoreInner), bytes(findOrCreate(station, key, created))
{
}

bool DeviceImage::isNew() const
{
    return created;
}

qint64 DeviceImage::size() const
{
    return bytes.size();
}

void DeviceImage::growTo(qint64 wantedSize)
{
    const qint64 before = size();
    if (wantedSize <= before || wantedSize > maxSize)
        return;
    bytes.resize(int(wantedSize));
    std::memset(bytes.data() + before, 0, size_t(wantedSize - before));
}

void DeviceImage::read(qint64 position, char *to, qint64 length) const
{
    const qint64 from = qBound<qint64>(0, -position, length);     // bytes before the image
    const qint64 until = qBound(from, size() - position, length); // bytes past its end
    std::memset(to, 0, size_t(from));
    if (until > from)
        std::memcpy(to + from, bytes.constData() + position + from, size_t(until - from));
    std::memset(to + until, 0, size_t(length - until));
}

void DeviceImage::write(qint64 position, const char *from, qint64 length)
{
    if (length < 1)
        return;
    growTo(position + length);
    const qint64 first = qBound<qint64>(0, -position, length);
    const qint64 until = qBound(first, size() - position, length);
    if (until > first)
        std::memcpy(bytes.data() + position + first, from + first, size_t(until - first));
}

bool DeviceImage::bit(qint64 number) const
{
    if (number < 0 || number / 8 >= size())
        return false;
    return (quint8(bytes.at(int(number / 8))) >> (number % 8) & 1) != 0;
}

void DeviceImage::setBit(qint64 number, bool on)
{
    if (number < 0 || number / 8 >= size())
        return;
    const int mask = 1 << (number % 8);
    char &byte = bytes.data()[number / 8];
    byte = char(on ? byte | mask : byte & ~mask);
}
