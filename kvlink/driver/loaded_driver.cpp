// SPDX-License-Identifier: MIT
// One request at a time through a private copy of the driver. See loaded_driver.h.
#include "driver/loaded_driver.h"

#include "driver/driver_lines.h"
#include "driver/driver_places.h"
#include "driver/unit_views.h"

namespace kvlink
{

namespace
{

constexpr int station = 0;   // a link is one PLC: its number is of no account
constexpr int ownerType = 0; // who asks, to the driver: always the same
constexpr int ownerId = 1;
constexpr int sendToPlc = 2;           // ComInfo::commMode
constexpr int longestBlock = 128;      // the most that the driver sends in one write
constexpr int modeUnchanged = 1;       // of AddListOnceReadVar: read units, taken as they are
constexpr int statusDone = 1;          // of the notify callback
constexpr int mostAsks = 4;            // handshake wanted, an idle call before it and after it, the frame
const char *const greeting = "CR\r\n"; // no other frame ends in CR LF

enum class End { None, Done, Failed };

// What the driver said during the call of this thread. The callbacks have no other way to know
// whose they are.
thread_local End saidEnd = End::None;

int notify(int /*context*/, int /*ownerType*/, int /*ownerId*/, int status)
{
    saidEnd = status == statusDone ? End::Done : End::Failed;
    return 0;
}

int notifyError(QList<RW_VAR> * /*list*/, int /*ownerType*/, int /*flag*/)
{
    saidEnd = End::Failed;
    return 0;
}

/// The settings of a copy that asks one PLC, once.
ComInfo settingsOfLink()
{
    ComInfo settings;
    settings.maxBlockLength = longestBlock;
    settings.commMode = sendToPlc;
    // On purpose: maxRetries stays 0. The engine alone decides whether to ask again.
    return settings;
}

} // namespace

std::unique_ptr<LoadedDriver> LoadedDriver::load(const QString &path, QString &problem)
{
    const QString file = findDriver(path, standardDriverPlaces(), problem);
    if (file.isEmpty())
        return nullptr;
    DriverLibrary &library = DriverLibrary::shared();
    DriverCopy *copy = library.take(file, problem);
    return copy == nullptr ? nullptr : std::make_unique<LoadedDriver>(library, copy);
}

LoadedDriver::LoadedDriver(DriverLibrary &library, DriverCopy *copy) : m_library(library), m_copy(copy)
{
    m_copy->settings = settingsOfLink();
    m_copy->calls.setComInfo(&m_copy->settings);
    m_copy->calls.registCallBackFuncIntf(notify, notifyError);
}

LoadedDriver::~LoadedDriver()
{
    drop();
    m_library.giveBack(m_copy);
}

void LoadedDriver::beginRead(int readArea, int firstUnit, int count)
{
    drop();
    RW_VAR request;
    request.ownerType = ownerType;
    request.ownerId = ownerId;
    request.linkId = m_copy->settings.localLinkId;
    request.area = readArea;
    request.address = firstUnit;
    request.station = station;
    request.count = count;
    m_inHand = m_copy->calls.addListOnceReadVar(&request, modeUnchanged) == 1;
    fetchFrame();
}

void LoadedDriver::beginWrite(const WriteUnits &write)
{
    drop();
    int entries = 0;
    {
        const DriverCall call;
        entries = m_copy->calls.setRegisterData({}, write.area, write.addressText, station, write.data,
                                                write.hostCount, ownerType, ownerId);
    }
    m_inHand = entries > 0;
    fetchFrame();
    if (entries > 1)
        drop(); // more than one request: refused. The driver drops all entries of a requester together
}

/// Ends the request in hand, if any, as one that was not answered.
void LoadedDriver::drop()
{
    if (m_inHand)
        answer({});
}

/// The next frame of the request in hand. A request that has none is dropped.
void LoadedDriver::fetchFrame()
{
    m_frame.clear();
    m_replyLength = 0;
    if (!m_inHand)
        return;
    const Protocol *next = nextFrame();
    m_inHand = next != nullptr;
    if (next == nullptr)
        return;
    if (next->frame.isEmpty()) {
        drop();
        return;
    }
    m_frame = next->frame.left(next->frameLength);
    m_replyLength = next->replyLength;
}

/// The handshake is answered here: the engine greets each connection itself, before its first
/// request.
Protocol *LoadedDriver::nextFrame()
{
    const DriverCall call;
    for (int asks = 0; asks < mostAsks; ++asks) {
        // After five requests of one kind in a row the driver has nothing to send once, to let
        // others in.
        auto *head = reinterpret_cast<Protocol *>(m_copy->calls.comCommunication());
        if (head == nullptr)
            continue;
        if (head->frame != greeting)
            return head;
        QByteArray accepted("CC\r\n");
        m_copy->calls.dataCom(&accepted, int(accepted.size()));
    }
    return nullptr;
}

Driver::Result LoadedDriver::answer(const QByteArray &bytes)
{
    if (!m_inHand)
        return Result::Failed;
    {
        const DriverCall call;
        QByteArray reply = bytes;
        saidEnd = End::None;
        m_copy->calls.dataCom(&reply, int(reply.size()));
    }
    m_inHand = saidEnd == End::None;
    const bool done = saidEnd == End::Done;
    fetchFrame();
    if (m_inHand)
        return Result::NextFrame;
    return done ? Result::Done : Result::Failed;
}

UnitBlock LoadedDriver::block(int readArea, int firstUnit, int count) const
{
    UnitBlock block;
    block.readArea = readArea;
    block.firstUnit = firstUnit;
    block.unitCount = count;
    const UnitViews *views = findUnitViews(readArea);
    if (views == nullptr)
        return block;
    const QString first = unitText(views->text, firstUnit);
    block.whole = view(views->whole, first, count);
    block.contact = view(views->contact, first, count);
    block.current = view(views->current, first, count);
    block.set = view(views->set, first, count);
    return block;
}

QByteArray LoadedDriver::view(int area, const QString &first, int count) const
{
    const DriverCall call;
    QByteArray out;
    if (area >= 0)
        m_copy->calls.getRegisterData(0, area, first, station, &out, count);
    return out;
}

} // namespace kvlink
