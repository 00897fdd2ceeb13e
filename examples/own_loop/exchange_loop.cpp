// SPDX-License-Identifier: MIT
#include "exchange_loop.h"

#include <QNetworkProxy>
#include <QTcpSocket>

#include <algorithm>
#include <utility>

using namespace std::chrono_literals;

namespace
{
constexpr int station = 0;
constexpr int writeOwner = 1; // ownerType of our writes; the cyclic list has 0
constexpr int cyclicOwnerId = -1;
constexpr int connectTimeoutMs = 3000;
constexpr auto answerTimeout = 500ms;
constexpr auto passPeriod = 100ms;      // from the start of one pass over the cyclic list to that of the next
constexpr auto oldAge = 1s;             // a value that was read longer ago is not good
constexpr auto retryPause = 500ms;      // between two attempts to connect
constexpr std::size_t mostWrites = 500; // the driver drops what exceeds 1024 without a word
const QByteArray opening = "CR\r", opened = "CC\r\n";
} // namespace

std::vector<std::pair<int, int>> ExchangeLoop::ended;

ExchangeLoop::ExchangeLoop(const QString &host, quint16 port) : m_host(host), m_port(port)
{
    m_settings.maxBlockLength = 64;
    m_settings.maxRetries = 0; // a failed request is given up at once; the pass comes round again
    m_settings.defaultStation = station;
    m_settings.commMode = kvSendWrites;
    SetComInfo(&m_settings);
    RegistCallBackFuncIntf(&ExchangeLoop::writeEnded, nullptr);
}

ExchangeLoop::~ExchangeLoop()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isStopping = true;
    }
    m_wake.notify_all();
    wait();
    RegistCallBackFuncIntf(nullptr, nullptr);
}

// --- what screens call ---------------------------------------------------------------------------

void ExchangeLoop::show(const std::vector<Place> &places)
{
    QList<HOSTVAR> wanted;
    for (const Place &place : places) {
        HOSTVAR variable;
        variable.area = quint8(place.area);
        variable.addressText = place.addressText;
        variable.count = place.count;
        wanted.append(variable);
    }
    const std::lock_guard lock(m_mutex);
    m_blocks = ReCreatReadVarList(&wanted);
    m_blocksOfPass = 0;
}

Sample ExchangeLoop::sample(const Place &place) const
{
    const std::lock_guard lock(m_mutex);
    Sample sample;
    QByteArray bytes;
    GetRegisterData(0, place.area, place.addressText, station, &bytes, place.count);
    sample.value = place.valueOf(bytes);
    // The store has no age: whether a value is good is for us to know.
    for (const auto &[block, times] : m_read) {
        if (block.readKey != place.readKey || block.first > place.firstWord ||
            block.first + block.words < place.firstWord + place.words || times.wall <= sample.time)
            continue;
        sample.time = times.wall;
        sample.isGood = m_isLinked && Steady::now() - times.steady < oldAge;
    }
    return sample;
}

void ExchangeLoop::write(const Place &place, qint64 value, WhenDone whenDone)
{
    const std::lock_guard lock(m_mutex);
    const auto bytes = place.bytesOf(value);
    if (!bytes)
        return whenDone(Outcome::NotSent, "the value does not fit " + place.name);
    if (!m_isLinked)
        return whenDone(Outcome::NotSent, "no link");
    if (m_writes.size() >= mostWrites)
        return whenDone(Outcome::NotSent, "too many writes wait");
    const int id = m_nextWrite++;
    // An owner of its own for each write, or a failed one would take the others with it.
    const int waiting =
        SetRegisterData({}, place.area, place.addressText, station, *bytes, place.count, writeOwner, id);
    if (waiting == 0)
        return whenDone(Outcome::NotSent, "the driver does not know " + place.name);
    note({id, place, std::move(whenDone)}, waiting);
    m_wake.notify_all();
}

// A list that is no longer than before: the driver has put this value in the place of an equal one
// after the head, and will never mention that one again.
void ExchangeLoop::note(Write write, int waiting)
{
    if (std::size_t(waiting) > m_writes.size()) {
        m_writes.push_back(std::move(write));
        return;
    }
    const auto replaced = std::find_if(m_writes.begin() + 1, m_writes.end(), [&write](const Write &older) {
        return older.place.area == write.place.area && older.place.address == write.place.address &&
               older.place.count == write.place.count;
    });
    std::swap(*replaced, write);
    write.whenDone(Outcome::NotSent, "replaced by a newer value");
}

bool ExchangeLoop::isLinked() const
{
    const std::lock_guard lock(m_mutex);
    return m_isLinked;
}

// --- the loop ------------------------------------------------------------------------------------

void ExchangeLoop::run()
{
    QTcpSocket plc;
    plc.setProxy(QNetworkProxy::NoProxy);
    Steady::time_point nextPass{};
    while (true) {
        bool passIsOver = false;
        {
            const std::lock_guard lock(m_mutex);
            if (m_isStopping)
                break;
            passIsOver = m_blocksOfPass >= m_blocks;
        }
        if (plc.state() != QAbstractSocket::ConnectedState && !connectTo(plc)) {
            pause(Steady::now() + retryPause);
            continue;
        }
        if (passIsOver) {
            pause(nextPass);
            const std::lock_guard lock(m_mutex);
            if (Steady::now() >= nextPass) {
                nextPass = Steady::now() + passPeriod;
                m_blocksOfPass = 0;
            } else if (m_writes.empty()) {
                continue;
            }
        }
        exchange(plc);
    }
    loseLink(plc);
}

bool ExchangeLoop::connectTo(QTcpSocket &plc)
{
    loseLink(plc);
    plc.connectToHost(m_host, m_port);
    if (!plc.waitForConnected(connectTimeoutMs) || !greet(plc)) {
        plc.abort();
        return false;
    }
    const std::lock_guard lock(m_mutex);
    m_isLinked = true;
    m_blocksOfPass = 0;
    return true;
}

// The PLC answers nothing but E1 until the link is opened, on each connection.
bool ExchangeLoop::greet(QTcpSocket &plc)
{
    plc.write(opening);
    return receive(plc, int(opened.size())) == opened;
}

// One exchange: ask the driver what to send, send it, hand back what came.
void ExchangeLoop::exchange(QTcpSocket &plc)
{
    plc.waitForReadyRead(0);
    if (plc.bytesAvailable() > 0)
        return loseLink(plc); // nobody asked for this: the connection is out of step
    RW_VAR request;
    const Protocol *frame = nullptr;
    {
        const std::lock_guard lock(m_mutex);
        frame = reinterpret_cast<const Protocol *>(ComCommunication());
        if (frame == nullptr) {
            m_blocksOfPass = m_blocks; // nothing to send
            return;
        }
        request = frame->var;
    }
    if (frame->frame.startsWith("CR")) {
        // We have opened the link ourselves. The driver cannot know and asks for it
        // after each failure.
        QByteArray answer = opened;
        const std::lock_guard lock(m_mutex);
        DataCom(&answer, int(answer.size()));
        return;
    }
    plc.write(frame->frame.constData(), frame->frameLength);
    const QByteArray answer = receive(plc, frame->replyLength);
    const Shape shape = shapeOf(answer, *frame);
    take(request, shape == Shape::Wrong ? QByteArray() : answer, shape);
    // After a wrong answer or none the true one may still come, and would be taken for the next.
    // After E1 the PLC wants to be opened again.
    if (shape == Shape::Wrong || (answer.startsWith("E1") && !greet(plc)))
        loseLink(plc);
}

QByteArray ExchangeLoop::receive(QTcpSocket &plc, int length) const
{
    QByteArray answer;
    const auto deadline = Steady::now() + answerTimeout;
    while (!answer.endsWith("\r\n") && answer.size() < length) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Steady::now());
        if (left.count() <= 0 || (plc.bytesAvailable() == 0 && !plc.waitForReadyRead(int(left.count()))))
            break;
        answer += plc.readAll();
    }
    return answer;
}

void ExchangeLoop::take(const RW_VAR &request, QByteArray answer, Shape shape)
{
    const std::lock_guard lock(m_mutex);
    const auto *result = reinterpret_cast<const RW_VAR *>(DataCom(&answer, int(answer.size())));
    if (request.ownerType != writeOwner && request.ownerId == cyclicOwnerId) {
        ++m_blocksOfPass;
        const Block block{request.area, request.address, request.count};
        if (result->result == kvGood)
            m_read[block] = {Steady::now(), std::chrono::system_clock::now()};
        else
            m_read.erase(block);
    }
    for (const auto &[id, status] : std::exchange(ended, {})) {
        if (status == kvStatusDone)
            end(id, Outcome::Done, "confirmed by the PLC");
        else if (shape == Shape::Error)
            end(id, Outcome::Refused, "the PLC answered " + QString::fromLatin1(answer.left(2)));
        else if (request.preReadMark == kvPreRead)
            end(id, Outcome::NotSent, "its word could not be read");
        else
            end(id, Outcome::Unknown, "sent, not confirmed: it may have been carried out");
    }
}

// --- how things end ------------------------------------------------------------------------------

// Runs inside DataCom with the driver's list locked: note it, and act later.
int ExchangeLoop::writeEnded(int, int ownerType, int ownerId, int status)
{
    if (ownerType == writeOwner)
        ended.emplace_back(ownerId, status);
    return 0;
}

void ExchangeLoop::end(int id, Outcome outcome, const QString &why)
{
    const auto found =
        std::find_if(m_writes.begin(), m_writes.end(), [id](const Write &write) { return write.id == id; });
    if (found == m_writes.end())
        return;
    const Write write = std::move(*found);
    m_writes.erase(found);
    write.whenDone(outcome, why);
}

void ExchangeLoop::loseLink(QTcpSocket &plc)
{
    plc.abort();
    const std::lock_guard lock(m_mutex);
    m_isLinked = false;
    m_read.clear();
    // What was not sent must not be sent later, when nobody expects it any more. The driver has no
    // call for that.
    PLC_driver.listMutex.lock();
    PLC_driver.writeList.clear();
    PLC_driver.listMutex.unlock();
    PLC_driver.frameQueue.clear();
    while (!m_writes.empty())
        end(m_writes.front().id, Outcome::NotSent, "no link");
}

void ExchangeLoop::pause(Steady::time_point until)
{
    std::unique_lock lock(m_mutex);
    m_wake.wait_until(lock, until, [this] { return m_isStopping || !m_writes.empty(); });
}
