// SPDX-License-Identifier: MIT
// Device images: the only place that touches the bytes of DataStorage, and the only one that knows
// how an image grows, what a negative address means, and where the ceiling is.
//
// An image begins at device address 0. Bytes before it and past its end read as 0; writes before it
// are dropped. A range that would take an image past its ceiling does not grow it; writes past its
// end are then dropped.
//
// Runs: on any thread. An object holds the store's inner lock for its life; nothing that locks is
//       called meanwhile. Keep it short-lived.
#pragma once

#include "base/held_lock.h"

#include <QByteArray>

#include <mutex>

class DeviceImage
{
public:
    static constexpr qint64 maxSize = 64LL * 1024 * 1024;

    /// The image of a station's key. A missing one is created empty.
    DeviceImage(int station, int key);

    /// True if this object created the image.
    bool isNew() const { return m_created; }

    qint64 size() const { return m_bytes->size(); }

    /// Lengthens the image by zero bytes to this size. Nothing happens if it is that long already,
    /// or if the size is past the ceiling.
    void growTo(qint64 wantedSize);

    /// Copies length bytes from position on.
    void read(qint64 position, char *to, qint64 length) const;

    /// Writes length bytes at position, growing the image to hold them.
    void write(qint64 position, const char *from, qint64 length);

    /// Bit number % 8 of byte number / 8.
    bool bit(qint64 number) const
    {
        if (number < 0 || number / 8 >= size())
            return false;
        return (quint8(m_bytes->constData()[number / 8]) >> (number % 8) & 1) != 0;
    }

    /// Sets or clears a bit within the image; see growTo for bits past its end.
    void setBit(qint64 number, bool on);

private:
    const Held<std::mutex> m_lock;
    bool m_created = false;
    QByteArray *m_bytes;
};
