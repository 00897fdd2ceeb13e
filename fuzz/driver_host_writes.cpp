// SPDX-License-Identifier: MIT
// SetRegisterData with any data, count, address and settings: the pieces hold what was given, in
// order and within the longest block, a local write can be read at once, and every piece goes out
// as the frame that says the same.
#include "driver_fuzz.h"

#include <limits>

namespace
{
constexpr int bound = 1024;

struct Write {
    int area = 0, address = 0, count = 0;
    std::string data;

    bool bits() const { return (area >= 0 && area <= 5) || (area >= 32 && area <= 39); }
    bool doubleWords() const { return area >= 16 && area <= 23; }
    bool writable() const { return area >= 0 && area <= 39 && !(area >= 6 && area <= 9); }
    int width() const
    {
        if (bits())
            return 1;
        return doubleWords() ? 4 : 2;
    }
    qint64 elements() const { return doubleWords() ? (qint64(count) + 1) / 2 : count; }

    // Element i, of which bytes that were not given are 0.
    unsigned value(qint64 i) const
    {
        unsigned value = 0;
        for (int byte = width() - 1; byte >= 0; --byte) {
            const qint64 at = i * width() + byte;
            value = value << 8 | (at < qint64(data.size()) ? quint8(data[std::size_t(at)]) : 0U);
        }
        return value;
    }
};

// The pieces one after the other are the write, as far as the list has room.
void requirePieces(const Write &write, int longest)
{
    qint64 element = 0;
    for (const RW_VAR &piece : std::as_const(PLC_driver.writeList)) {
        require(piece.area == write.area && piece.accessMode == 1, "a piece is a write of the same area");
        require(piece.address == write.address + element, "a piece begins where the last one ended");
        require(piece.count >= 1 && piece.count <= (write.bits() ? 1 : longest), "a piece is within a block");
        require(piece.data.size() == piece.count * write.width(), "a piece has as many bytes as it needs");
        for (int i = 0; i < piece.count; ++i) {
            for (int byte = 0; byte < write.width(); ++byte)
                require(quint8(piece.data.at(i * write.width() + byte)) ==
                            ((write.value(element + i) >> (8 * byte)) & 0xFF),
                        "a piece has the bytes that were given, then zeros");
        }
        element += piece.count;
    }
    // Behind the last address that int holds there is nothing to be written.
    const bool pastTheLast = write.address + element > std::numeric_limits<int>::max();
    require(element == qMax<qint64>(0, write.elements()) || PLC_driver.writeList.size() == bound ||
                pastTheLast,
            "all is queued, or the list is full");
}

const Protocol &nextFrame()
{
    // After five writes in a row it is the reads' turn once, and there are none.
    const bool idleOnce = ComCommunication() == 0;
    require(!idleOnce || ComCommunication() != 0, "a pending write has a frame");
    const Protocol &frame = static_cast<const QList<Protocol> &>(PLC_driver.frameQueue).first();
    require(frame.frameLength == frame.frame.size(), "the whole frame is sent");
    require(frame.frame.endsWith('\r'), "a command ends with CR");
    return frame;
}

void answer(const char *text)
{
    QByteArray reply(text);
    DataCom(&reply, int(reply.size()));
    require(PLC_driver.currentVar.result == 1, "a good answer is taken");
}

// " 00001 00002\r" after the head, as numbers.
QList<QByteArray> valuesOf(const QByteArray &frame)
{
    return frame.left(frame.size() - 1).split(' ').mid(3);
}

// The bit's word is read, and written back with that bit alone changed.
void serveBitOfWord(const RW_VAR &piece, int word)
{
    require(nextFrame().frame.startsWith("RDS "), "the word is read first");
    char text[16];
    std::snprintf(text, sizeof text, "%05d\r\n", word);
    answer(text);
    const int mask = 1 << (piece.address % 16);
    const int expected = piece.data.at(0) != 0 ? word | mask : word & ~mask;
    const QList<QByteArray> values = valuesOf(nextFrame().frame);
    require(values.size() == 1 && values.first().toInt() == expected, "one bit is changed and no other");
    answer("OK\r\n");
}

void serve(const Write &write, const RW_VAR &piece, int word)
{
    if (write.area >= 32) {
        serveBitOfWord(piece, word);
        return;
    }
    const QByteArray frame = nextFrame().frame;
    if (write.bits()) {
        require(frame.startsWith(piece.data.at(0) != 0 ? "ST " : "RS "), "a relay is set or reset");
    } else {
        const QList<QByteArray> values = valuesOf(frame);
        require(values.size() == piece.count, "a frame has as many values as it says");
        for (int i = 0; i < piece.count; ++i) {
            const unsigned value = write.value(qint64(piece.address) - write.address + i);
            const QByteArray text =
                write.doubleWords() ? QByteArray::number(int(value)) : QByteArray::number(value);
            bool good = false;
            require(values.at(i).toInt(&good) == text.toInt() && good,
                    "a frame has the values that were given");
        }
    }
    answer("OK\r\n");
}

// The store holds what was given.
void requireReadable(const Write &write, const QString &address, int station)
{
    const int count = int(qMin<qint64>(write.elements(), qint64(write.data.size()) / write.width()));
    if (write.area == 8 || write.area == 9 || count < 1 || qint64(write.address) + count > 1000000)
        return;
    QByteArray out;
    require(GetRegisterData(0, write.area, address, station, &out, count) == 1,
            "what was written can be read");
    for (int i = 0; i < count && write.writable(); ++i) {
        unsigned value = 0;
        for (int byte = write.width() - 1; byte >= 0; --byte)
            value = value << 8 | quint8(out.at(i * write.width() + byte));
        require(write.bits() ? (value != 0) == (write.value(i) != 0) : value == write.value(i),
                "what was written is read");
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    ComInfo settings = someSettings(input);
    settings.remoteMode = 0;
    freshDriver(&settings);
    const bool local = settings.commMode != 2;
    const bool failed = input.flag();
    PLC_driver.lastFailed = failed ? 1 : 0;
    const int station = input.between(0, 2);
    const int used = settings.multiStation != 0 ? station : settings.defaultStation;
    const int word = input.between(0, 0xFFFF);

    Write write;
    write.area = someInt(input, -1, 41);
    // Up to 64 MiB of single bits take seconds under the sanitizers: correct, but too slow to fuzz.
    write.count = failed && write.bits() ? input.between(-2, 4000) : someInt(input, -2, 400);
    const QString address = someAddressText(input, 70000);
    write.data = input.rest();
    write.address = StringAddressToInt(write.area, address);
    const int longest = qBound(1, settings.maxBlockLength, 128);

    ExactMemory memory;
    const int returned =
        SetRegisterData(QString(), write.area, address, station, memory.array(write.data), write.count, 1, 2);
    requireBoundedImages();
    require(local || !write.writable() || write.address < 0 || settings.maxBlockLength <= 128,
            "the cap of a block is written back");
    if (write.address < 0 || local || !write.writable()) {
        require(PLC_driver.writeList.isEmpty(), "nothing is queued that cannot be sent");
        require(returned == (write.address >= 0 && local ? 1 : 0), "only a local write is reported as done");
    } else {
        require(returned == int(PLC_driver.writeList.size()), "the length of the list is returned");
        requirePieces(write, longest);
    }
    if (write.address >= 0 && (local || (failed && !PLC_driver.writeList.isEmpty())))
        requireReadable(write, address, used);

    handshake[used] = true;
    for (int i = 0; i < 40 && !PLC_driver.writeList.isEmpty(); ++i)
        serve(write, RW_VAR(std::as_const(PLC_driver.writeList).first()), word);
    return 0;
}
