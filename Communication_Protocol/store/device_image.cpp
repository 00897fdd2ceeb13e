#include "store/device_image.h"

#include "Communication_Protocol.h"

#include <cstring>

namespace
{
// Needs neither construction nor destruction, so that it is there whenever the store is.
constinit std::mutex storeInnerLock;

QByteArray *find(int station, int key)
{
    const auto images = DataStorage.find(station);
    if (images == DataStorage.end())
        return nullptr;
    const auto image = images->find(key);
    return image == images->end() ? nullptr : &*image;
}
} // namespace

DeviceImage::DeviceImage(int station, int key)
    : lock(storeInnerLock, Rank::StoreInner), bytes(find(station, key))
{
    if (bytes == nullptr) {
        bytes = &DataStorage[station][key];
        created = true;
    }
}

void DeviceImage::growTo(qint64 wantedSize)
{
    const qint64 before = size();
    if (wantedSize <= before || wantedSize > maxSize)
        return;
    bytes->resize(int(wantedSize));
    std::memset(bytes->data() + before, 0, size_t(wantedSize - before));
}

void DeviceImage::read(qint64 position, char *to, qint64 length) const
{
    const qint64 from = qBound<qint64>(0, -position, length);     // bytes before the image
    const qint64 until = qBound(from, size() - position, length); // bytes past its end
    std::memset(to, 0, size_t(from));
    if (until > from)
        std::memcpy(to + from, bytes->constData() + position + from, size_t(until - from));
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
        std::memcpy(bytes->data() + position + first, from + first, size_t(until - first));
}

void DeviceImage::setBit(qint64 number, bool on)
{
    if (number < 0 || number / 8 >= size())
        return;
    const int mask = 1 << (number % 8);
    char &byte = bytes->data()[number / 8];
    byte = char(on ? byte | mask : byte & ~mask);
}
