// SPDX-License-Identifier: MIT
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
    : m_lock(storeInnerLock, Rank::StoreInner), m_bytes(find(station, key))
{
    if (m_bytes == nullptr) {
        m_bytes = &DataStorage[station][key];
        m_created = true;
    }
}

void DeviceImage::growTo(qint64 wantedSize)
{
    const qint64 before = size();
    if (wantedSize <= before || wantedSize > maxSize)
        return;
    m_bytes->resize(int(wantedSize));
    std::memset(m_bytes->data() + before, 0, size_t(wantedSize - before));
}

void DeviceImage::read(qint64 position, char *to, qint64 length) const
{
    const qint64 from = qBound<qint64>(0, -position, length);     // bytes before the image
    const qint64 until = qBound(from, size() - position, length); // bytes past its end
    std::memset(to, 0, size_t(from));
    if (until > from)
        std::memcpy(to + from, m_bytes->constData() + position + from, size_t(until - from));
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
        std::memcpy(m_bytes->data() + position + first, from + first, size_t(until - first));
}

void DeviceImage::setBit(qint64 number, bool on)
{
    if (number < 0 || number / 8 >= size())
        return;
    const int mask = 1 << (number % 8);
    char &byte = m_bytes->data()[number / 8];
    byte = char(on ? byte | mask : byte & ~mask);
}
