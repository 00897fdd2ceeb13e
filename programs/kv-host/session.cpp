#include "session.h"

#include "start_pages.h"

#include <algorithm>
#include <utility>

namespace kvhost
{

namespace
{

// The driver keeps the pointer until the process ends, so the block is nobody's but the process's.
ComInfo g_block;
// Faster cycles are counted as this one when the age of values is judged: screens do not look more often.
constexpr Ms FASTEST_CYCLE{50};
// The callbacks carry no pointer of the host.
Session *g_session = nullptr;

Trouble troubleOf(Outcome outcome)
{
    switch (outcome) {
    case Outcome::PlcError:
        return Trouble::Refused;
    case Outcome::LinkLost:
    case Outcome::NoLink:
        return Trouble::NoLink;
    default:
        return Trouble::NoAnswer;
    }
}

QString errorName(const ExchangeReport &report)
{
    switch (report.outcome) {
    case Outcome::PlcError:
        return QString::fromLatin1(report.verdict.errorCode);
    case Outcome::Malformed:
        return QStringLiteral("disturbed");
    case Outcome::NoAnswer:
        return QStringLiteral("no answer");
    case Outcome::LinkLost:
        return QStringLiteral("link broke");
    default:
        return QStringLiteral("no link");
    }
}

} // namespace

UnitRange unitsOf(const Address &address)
{
    return {address.station, address.device->readKey, address.firstUnit(), address.unitCount()};
}

UnitRange unitsOfValue(const Address &address, int i)
{
    return {address.station, address.device->readKey, address.firstUnitOfValue(i), address.unitsOfValue()};
}

Session::Session(SessionSettings settings) : m_settings(std::move(settings)), m_block(&g_block)
{
    g_session = this;
    for (const PlcTarget &target : m_settings.targets)
        m_links[target.station] = {target.station, target.url.text(), false, Trouble::NoLink, {}, 0, 0};
}

Session::~Session()
{
    stop();
    if (m_calls.registCallBackFuncIntf != nullptr)
        m_calls.registCallBackFuncIntf(nullptr, nullptr);
    g_session = nullptr;
}

bool Session::load(const QString &programFolder, QString *problem)
{
    if (!loadDriver(m_settings.driver, programFolder, &m_calls, &m_driverPath, problem))
        return false;
    *m_block = ComInfo();
    m_block->maxBlockLength = m_settings.maxBlock;
    m_block->maxRetries = m_settings.retries;
    m_block->multiStation = 1;
    m_block->defaultStation = m_settings.targets.empty() ? 0 : m_settings.targets.front().station;
    m_block->commMode = 2;
    m_calls.setComInfo(m_block);
    m_calls.registCallBackFuncIntf(&Session::notified, &Session::gaveUp);
    // kv-host has no local areas; the driver only keeps the pointers.
    m_calls.flashLocalRegister(nullptr, nullptr, nullptr);
    return true;
}

void Session::start()
{
    m_loop = std::make_unique<ExchangeLoop>(
        m_calls, m_block, ExchangeLoop::Settings{m_settings.targets, m_settings.timeout, m_settings.gap},
        this);
    m_loop->start();
}

void Session::stop()
{
    m_loop.reset();
}

int Session::readCyclically(const std::vector<Variable> &variables, Ms cycle, bool shown)
{
    std::vector<Picture> pictures;
    std::map<int, QList<HOSTVAR>> byStation;
    QList<HOSTVAR> all;
    for (const Variable &variable : variables) {
        HOSTVAR var;
        var.area = quint8(variable.address.area);
        var.station = quint8(variable.address.station);
        var.addressText = variable.address.addressText;
        var.count = variable.address.hostCount();
        byStation[variable.address.station] << var;
        all << var;
        if (!shown)
            continue;
        pictures.push_back({variable.address, values(variable.address)});
        const std::lock_guard held(m_mutex);
        m_book.track(unitsOf(variable.address));
    }
    // The call tells the number of blocks in all; how many of them are one station's is learnt one by one.
    std::map<int, int> blocks;
    for (auto &[station, list] : byStation)
        blocks[station] = m_calls.reCreatReadVarList(&list);
    const int count = m_calls.reCreatReadVarList(&all);
    {
        const std::lock_guard held(m_mutex);
        m_pictures = std::move(pictures);
        m_askedCycle = cycle;
        m_book.setStaleAfter(3 * std::max(cycle, FASTEST_CYCLE));
    }
    if (m_loop)
        m_loop->setCycle(std::move(blocks), cycle, shown);
    return count;
}

int Session::readOnce(const Address &address)
{
    {
        const std::lock_guard held(m_mutex);
        m_book.track(unitsOf(address));
    }
    const int before = m_ledger.pending(RequestKind::Read);
    const int owner = m_ledger.add(RequestKind::Read, address);
    RW_VAR var;
    var.ownerType = int(RequestKind::Read);
    var.ownerId = owner;
    var.linkId = m_block->localLinkId;
    var.area = address.area;
    var.addressText = address.addressText;
    var.station = address.station;
    var.count = address.hostCount();
    if (handOver(owner, RequestKind::Read, m_calls.addListOnceReadVar(&var, 0), before) && m_loop)
        m_loop->wakeUp();
    return owner;
}

int Session::write(const Address &address, const QByteArray &data)
{
    const UnitRange range = unitsOf(address);
    {
        const std::lock_guard held(m_mutex);
        m_book.track(range);
        m_book.writeQueued(range);
    }
    const int before = m_ledger.pending(RequestKind::Write);
    const int owner = m_ledger.add(RequestKind::Write, address);
    // Double words are counted in 16-bit registers here.
    const int returned =
        m_calls.setRegisterData(QString(), address.area, address.addressText, address.station, data,
                                address.hostCount(), int(RequestKind::Write), owner);
    if (handOver(owner, RequestKind::Write, returned, before)) {
        if (m_loop)
            m_loop->wakeUp();
        return owner;
    }
    const std::lock_guard held(m_mutex);
    m_book.writeFailed(range, QStringLiteral("the write was not queued"));
    return owner;
}

bool Session::handOver(int owner, RequestKind kind, int returned, int pendingBefore)
{
    if (RequestLedger::taken(returned, pendingBefore))
        return true;
    m_ledger.fail(owner, Trouble::Refused,
                  returned == 0
                      ? QStringLiteral("the driver does not take this address")
                      : QStringLiteral("the driver's list of %1 is full")
                            .arg(QString::fromLatin1(kind == RequestKind::Write ? "writes" : "reads")));
    return false;
}

QVector<Value> Session::values(const Address &address)
{
    QByteArray data;
    m_calls.getRegisterData(0, address.area, address.addressText, address.station, &data, address.elements);
    return decodeValues(address, data, m_settings.order);
}

QualityBook::State Session::quality(const Address &address, int value)
{
    const std::lock_guard held(m_mutex);
    return m_book.state(unitsOfValue(address, value), Clock::now());
}

Session::Look Session::look(std::size_t variable) const
{
    const std::lock_guard held(m_mutex);
    const Picture &picture = m_pictures.at(variable);
    Look look{picture.values, {}};
    look.values.detach(); // while the lock is held: takePicture() writes into what it does not share
    look.states.reserve(picture.values.size());
    const Time now = Clock::now();
    for (int i = 0; i < picture.values.size(); ++i)
        look.states << m_book.state(unitsOfValue(picture.address, i), now);
    return look;
}

Statistics Session::statistics() const
{
    const std::lock_guard held(m_mutex);
    Statistics copy = m_statistics;
    for (const auto &[station, link] : m_links)
        copy.reconnects += link.reconnects;
    return copy;
}

void Session::clearStatistics()
{
    const std::lock_guard held(m_mutex);
    m_statistics = Statistics();
}

QVector<LinkStatus> Session::links() const
{
    const std::lock_guard held(m_mutex);
    QVector<LinkStatus> all;
    for (const auto &[station, link] : m_links)
        all << link;
    return all;
}

LinkStatus Session::link(int station) const
{
    const std::lock_guard held(m_mutex);
    const auto found = m_links.find(station);
    return found == m_links.end() ? LinkStatus{} : found->second;
}

bool Session::waitUntil(const std::function<bool()> &done, Time deadline)
{
    // Before the first look at what is waited for, so that no change after that look goes without a wake-up.
    m_awaited = true;
    bool reached = false;
    while (m_signal == 0 && !(reached = done()) && Clock::now() < deadline)
        rest(deadline);
    m_awaited = false;
    return m_signal == 0 && reached;
}

void Session::pause(Time deadline)
{
    while (m_signal == 0 && Clock::now() < deadline)
        rest(deadline);
}

// On this thread, so that no exchange waits for it.
void Session::rest(Time deadline)
{
    m_waiter.until(deadline);
    if (m_startEnded.exchange(false))
        giveBackStartPages();
}

void Session::wake()
{
    ++m_news;
    if (m_awaited)
        m_waiter.wake();
}

void Session::interrupt(int signal)
{
    m_signal = signal;
    m_waiter.wake();
}

// ------------------------------------------------------------------------------------------ exchange thread

void Session::answerCame(const ExchangeReport &report)
{
    const bool owned = report.kind == FrameKind::Write || report.kind == FrameKind::OnceRead;
    if (owned && !report.reason.isEmpty()) {
        m_ledger.noteFailure(report.kind == FrameKind::Write ? RequestKind::Write : RequestKind::Read,
                             report.var.ownerId, troubleOf(report.outcome), report.reason);
    }
}

void Session::exchanged(const ExchangeReport &report)
{
    {
        const std::lock_guard held(m_mutex);
        count(report);
        noteQuality(report);
    }
    if (onExchange)
        onExchange(report);
    if (report.result != 0 && !report.wentWell())
        wake();
}

void Session::count(const ExchangeReport &report)
{
    if (report.outcome == Outcome::NotExpected)
        return;
    if (report.outcome != Outcome::NoLink) {
        m_statistics.sent();
        if (report.outcome != Outcome::Answered && report.outcome != Outcome::PlcError)
            ++m_statistics.unanswered;
    }
    if (report.outcome == Outcome::Answered)
        m_statistics.answered(report.time);
    else
        m_statistics.failed(errorName(report));
    const bool good = report.wentWell();
    if (good && report.kind == FrameKind::CyclicRead)
        m_statistics.words += report.var.count;
    if (!good && report.result != 0)
        ++m_statistics.givenUp;
}

void Session::noteQuality(const ExchangeReport &report)
{
    const bool read = report.kind == FrameKind::CyclicRead || report.kind == FrameKind::OnceRead;
    if (!read || report.result == 0)
        return;
    const UnitRange range{report.var.station, report.var.area, report.var.address, report.var.count};
    if (!report.wentWell()) {
        m_book.failed(range, report.reason);
        return;
    }
    m_book.read(range, Clock::now());
    for (const int unit : report.verdict.tooLarge) {
        m_book.failed({range.station, range.key, range.first + unit, 1},
                      QStringLiteral("above 2147483647, which the driver cannot hold"));
    }
}

void Session::linkChanged(const LinkStatus &status)
{
    {
        const std::lock_guard held(m_mutex);
        m_links[status.station] = LinkStatus(status);
    }
    if (onLink)
        onLink(status);
    wake();
}

void Session::cycleDone(Clock::duration time)
{
    if (!std::exchange(m_started, true)) {
        m_startEnded = true;
        m_waiter.wake();
    }
    const std::lock_guard held(m_mutex);
    ++m_statistics.cycles;
    m_statistics.lastCycleMs = inMs(time);
    // Asked for more often than the link manages, the reached cycle decides what is old.
    m_book.setStaleAfter(3 * std::max<Clock::duration>({m_askedCycle, time, FASTEST_CYCLE}));
}

void Session::threwAway(const QByteArray &bytes)
{
    const std::lock_guard held(m_mutex);
    m_statistics.thrownAway += bytes.size();
}

void Session::judged(int station, const StepDoubt::Finding &finding)
{
    {
        const std::lock_guard held(m_mutex);
        for (const Accepted &one : finding.proved)
            m_book.proved(one.range);
        for (const Accepted &one : finding.lost)
            m_book.lost(one.range);
        for (const Accepted &one : finding.doubted) {
            m_book.failed(one.range,
                          QStringLiteral("the answer may have been another's; waiting for the next"));
        }
        if (!finding.proved.isEmpty())
            takePicture(station);
    }
    const auto unsure = finding.lost + finding.doubted;
    for (const Accepted &one : unsure) {
        if (one.owner != 0)
            m_ledger.partUnsure(one.owner);
    }
    if (unsure.isEmpty())
        m_ledger.proved(station);
    else
        m_ledger.unsure(station);
    wake();
}

// The lock is held throughout, so that values and qualities always belong together.
void Session::takePicture(int station)
{
    for (Picture &picture : m_pictures) {
        if (picture.address.station != station)
            continue;
        const QVector<Value> now = values(picture.address);
        for (int i = 0; i < now.size() && i < picture.values.size(); ++i) {
            if (m_book.settled(unitsOfValue(picture.address, i)))
                picture.values[i] = now[i];
        }
    }
}

int Session::pendingAt(int station) const
{
    return m_ledger.pendingAt(station);
}

// Runs inside DataCom with the driver's list lock held: it must not call the driver.
int Session::notified(int /*context*/, int ownerType, int ownerId, int status)
{
    if (g_session != nullptr)
        g_session->requestReported(ownerType, ownerId, status);
    return 0;
}

// Who was given up is told by the other callback, by owner; for cyclic reads by the exchange itself.
int Session::gaveUp(QList<RW_VAR> * /*alwaysEmpty*/, int /*ownerType*/, int /*flag*/)
{
    return 0;
}

void Session::requestReported(int ownerType, int ownerId, int status)
{
    const auto kind = RequestKind(ownerType);
    const Request request = m_ledger.request(ownerId);
    m_ledger.reported(kind, ownerId, status);
    if (kind == RequestKind::Write && request.address.device != nullptr) {
        const std::lock_guard held(m_mutex);
        if (status == 1)
            m_book.writeDone(unitsOf(request.address));
        else
            m_book.writeFailed(unitsOf(request.address), QStringLiteral("the write failed"));
    }
    wake();
}

} // namespace kvhost
