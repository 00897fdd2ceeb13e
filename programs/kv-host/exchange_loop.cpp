#include "exchange_loop.h"

#include "answer_splitter.h"

namespace kvhost
{

namespace
{

// What has nothing to send, although it may, asks the driver again after so long. New work, bytes and links wake it
// at once, and so does the end of the pause between two passes.
constexpr Ms IDLE{20};
// A station that has sent more than was asked for gets so long before each request, for its surplus to arrive
// and be thrown away, until it has behaved for a minute. It is also long enough to prove each answer by
// itself.
constexpr Ms SETTLE = StepDoubt::PROOF;
constexpr std::chrono::minutes CAREFUL{1};
// An answer is first waited for on its link alone, which costs a fraction of a turn of the event loop. Other links
// and screens notice nothing of so short a time.
constexpr Ms ALONE{2};

FrameKind kindOf(const Protocol &head)
{
    if (head.frame.startsWith("CR\r"))
        return FrameKind::Handshake;
    if (head.var.ownerType == 1)
        return FrameKind::Write;
    return head.var.ownerType == 2 ? FrameKind::OnceRead : FrameKind::CyclicRead;
}

ExchangeReport startOf(const Protocol &head)
{
    ExchangeReport report;
    report.kind = kindOf(head);
    report.var = head.var;
    report.frame = head.frame.left(head.frameLength);
    return report;
}

} // namespace

ExchangeLoop::ExchangeLoop(const DriverCalls &calls, ComInfo *block, Settings settings,
                           ExchangeListener *listener)
    : m_calls(calls), m_block(block), m_settings(std::move(settings)), m_listener(listener)
{
}

ExchangeLoop::~ExchangeLoop()
{
    stop();
    wait();
}

void ExchangeLoop::setCycle(std::map<int, int> blocksByStation, Ms asked, bool prove)
{
    {
        const std::lock_guard held(m_mutex);
        m_newBlocks = std::move(blocksByStation);
        m_newCycle = asked;
        m_newProve = prove;
    }
    wakeUp();
}

void ExchangeLoop::wakeUp()
{
    const std::lock_guard held(m_mutex);
    if (m_waiter != nullptr)
        m_waiter->wake();
}

void ExchangeLoop::stop()
{
    m_stopping = true;
    wakeUp();
}

void ExchangeLoop::run()
{
    Waiter waiter;
    {
        const std::lock_guard held(m_mutex);
        m_waiter = &waiter;
    }
    for (const PlcTarget &target : m_settings.targets)
        m_calls.enCommStation(target.station, 0); // until its link is open
    m_keeper = std::make_unique<LinkKeeper>(
        m_settings.targets,
        LinkKeeper::Settings{m_settings.timeout, [&waiter] { waiter.wake(); },
                             [this](const LinkStatus &status) { linkChanged(status); },
                             [this](const QByteArray &bytes) { m_listener->threwAway(bytes); }});
    while (!m_stopping)
        work();
    m_keeper.reset();
    const std::lock_guard held(m_mutex);
    m_waiter = nullptr;
}

void ExchangeLoop::work()
{
    const Time now = Clock::now();
    m_waiter->handleEvents(now);
    m_keeper->serve(now);
    takeNewCycle();
    checkSilentStations();
    if (!m_pacer.mayRead(now) && !urgentWork()) {
        waitForWork(false);
        return;
    }
    const auto *head = reinterpret_cast<const Protocol *>(m_calls.comCommunication());
    if (head == nullptr) {
        waitForWork(true);
        return;
    }
    ExchangeReport report = exchange(*head);
    if (m_stopping)
        return;
    handIn(&report);
    afterwards(report);
    if (m_settings.gap.count() > 0)
        m_waiter->until(Clock::now() + m_settings.gap);
}

void ExchangeLoop::waitForWork(bool justIdle)
{
    // After five writes in a row the driver has one deliberate idle call: ask again at once.
    if (justIdle && urgentWork() && m_keeper->nextDeadline() > Clock::now()) {
        m_waiter->until(Clock::now() + Ms(1));
        return;
    }
    const Time next = justIdle ? Clock::now() + IDLE : m_pacer.pauseEnd();
    m_waiter->until(std::min({next, m_keeper->nextDeadline(), nextProof()}));
}

bool ExchangeLoop::urgentWork() const
{
    for (const PlcTarget &target : m_settings.targets) {
        if (m_keeper->ready(target.station) && m_listener->pendingAt(target.station) > 0)
            return true;
    }
    return false;
}

void ExchangeLoop::takeNewCycle()
{
    const std::lock_guard held(m_mutex);
    if (!m_newCycle)
        return;
    m_pacer.set(std::move(m_newBlocks), *m_newCycle);
    m_newCycle.reset();
    m_provePasses = m_newProve;
}

void ExchangeLoop::linkChanged(const LinkStatus &status)
{
    if (!status.ready)
        tell(status.station, m_doubt[status.station].linkLost());
    m_calls.enCommStation(status.station, status.ready ? 1 : 0);
    m_pacer.stationReady(status.station, status.ready);
    m_listener->linkChanged(status);
}

ExchangeReport ExchangeLoop::exchange(const Protocol &head)
{
    ExchangeReport report = startOf(head);
    const Time begin = Clock::now();
    Time sent = begin;
    if (report.kind == FrameKind::CyclicRead)
        m_pacer.begins(begin);
    if (!waitReady(head.var.station) || !emptyBeforeSending(head.var.station)) {
        report.outcome = Outcome::NoLink;
        report.reason = QStringLiteral("no link");
    } else if (head.frameLength <= 0) {
        // Nothing goes out, so nothing can come back.
        report.outcome = Outcome::NotExpected;
    } else {
        sent = Clock::now();
        m_keeper->link(head.var.station)->send(report.frame);
        receive(head, &report);
    }
    report.time = Clock::now() - sent;
    m_requestCost += Clock::now() - begin;
    return report;
}

// A frame in flight holds up everybody until the driver has given it up, so there is a bound to this wait,
// and none of it for a station that has not answered since it was given up last.
bool ExchangeLoop::waitReady(int station)
{
    const StationWatch *watch = m_keeper->watch(station);
    if (watch == nullptr)
        return false;
    if (watch->ready())
        return true;
    const Time deadline = Clock::now() + m_settings.timeout;
    m_keeper->serve(Clock::now());
    while (!watch->ready() && !watch->onProbation() && !m_stopping && Clock::now() < deadline) {
        m_waiter->until(std::min(deadline, m_keeper->nextDeadline()));
        m_keeper->serve(Clock::now());
    }
    return watch->ready();
}

// Answers carry no id: what lies in the receive buffer now belongs to no request, and what would be sent next
// must not get it. Whoever gets more than was asked for cannot tell what comes next either: start afresh.
bool ExchangeLoop::emptyBeforeSending(int station)
{
    settle(station);
    if (m_keeper->ready(station) && checkSilence(station))
        return true;
    return waitReady(station);
}

// \return false if there were bytes that nobody had asked for
bool ExchangeLoop::checkSilence(int station)
{
    const QByteArray surplus = m_keeper->empty(station);
    tell(station, m_doubt[station].emptied(surplus, Clock::now()));
    if (!surplus.isEmpty())
        outOfStep(station);
    return surplus.isEmpty();
}

void ExchangeLoop::checkSilentStations()
{
    for (auto &[station, doubt] : m_doubt) {
        if (doubt.waiting() && m_keeper->ready(station) && Clock::now() >= doubt.provedAt())
            checkSilence(station);
    }
}

Time ExchangeLoop::nextProof() const
{
    Time next = Time::max();
    for (const auto &[station, doubt] : m_doubt) {
        if (doubt.waiting() && m_keeper->ready(station))
            next = std::min(next, doubt.provedAt());
    }
    return next;
}

// One wait for all stations.
void ExchangeLoop::proveAll()
{
    Time end{};
    for (const auto &[station, doubt] : m_doubt) {
        if (doubt.waiting() && m_keeper->ready(station))
            end = std::max(end, doubt.provedAt());
    }
    waitSilent(end);
    checkSilentStations();
}

void ExchangeLoop::prove(int station)
{
    if (!m_doubt[station].waiting() || !m_keeper->ready(station))
        return;
    waitSilent(m_doubt[station].provedAt());
    if (m_keeper->ready(station))
        checkSilence(station);
}

void ExchangeLoop::waitSilent(Time end)
{
    while (Clock::now() < end && !m_stopping) {
        m_waiter->until(std::min(end, m_keeper->nextDeadline()));
        m_keeper->serve(Clock::now());
    }
}

void ExchangeLoop::settle(int station)
{
    const auto careful = m_carefulUntil.find(station);
    if (careful == m_carefulUntil.end())
        return;
    if (Clock::now() >= careful->second) {
        m_carefulUntil.erase(careful);
        return;
    }
    waitSilent(Clock::now() + SETTLE);
}

void ExchangeLoop::outOfStep(int station)
{
    m_carefulUntil[station] = Clock::now() + CAREFUL;
    m_keeper->watch(station)->outOfStep(Clock::now());
}

void ExchangeLoop::receive(const Protocol &head, ExchangeReport *report)
{
    if (head.replyLength == 0) {
        report->outcome = Outcome::NotExpected;
        return;
    }
    Link *link = m_keeper->link(head.var.station);
    AnswerSplitter splitter(head.replyLength);
    const Time begin = Clock::now();
    const Time deadline = begin + m_settings.timeout;
    bool mayStayAlone = true;
    for (Time now = begin;;) {
        mayStayAlone = mayStayAlone && now < begin + ALONE &&
                       link->awaitAlone(std::min(ALONE, m_settings.timeout), &m_busyWait);
        if (!mayStayAlone) {
            m_waiter->until(std::min(deadline, m_keeper->nextDeadline()));
            m_keeper->serve(Clock::now());
        }
        splitter.feed(link->takeReceived());
        if (splitter.complete() || link->state() != Link::State::Open || m_stopping)
            break;
        now = Clock::now();
        if (now >= deadline)
            break;
    }
    report->answer = splitter.answer();
    if (splitter.complete())
        judge(head, report);
    else
        report->outcome = link->state() == Link::State::Open ? Outcome::NoAnswer : Outcome::LinkLost;
    if (!splitter.surplus().isEmpty())
        judgeSurplus(splitter.surplus(), report);
}

// More came than one answer. If it is the same again, either copy may be taken; if it is not, nobody knows
// which of the two belongs to this request.
void ExchangeLoop::judgeSurplus(const QByteArray &surplus, ExchangeReport *report)
{
    m_listener->threwAway(surplus);
    if (surplus != report->answer) {
        report->outcome = Outcome::Malformed;
        tell(report->var.station, m_doubt[report->var.station].mismatch());
    } else {
        report->doubled = true;
    }
    outOfStep(report->var.station);
}

void ExchangeLoop::tell(int station, const StepDoubt::Finding &finding)
{
    if (!finding.nothing())
        m_listener->judged(station, finding);
}

void ExchangeLoop::judge(const Protocol &head, ExchangeReport *report)
{
    report->verdict = checkAnswer(report->frame, head.replyLength, report->answer);
    switch (report->verdict.kind) {
    case AnswerKind::Good:
        report->outcome = Outcome::Answered;
        break;
    case AnswerKind::Error:
        report->outcome = Outcome::PlcError;
        report->reason = QStringLiteral("the PLC answered %1 (%2)")
                             .arg(QString::fromLatin1(report->verdict.errorCode),
                                  QString::fromLatin1(errorCodeMeaning(report->verdict.errorCode)));
        break;
    case AnswerKind::Malformed:
        report->outcome = Outcome::Malformed;
        // Of another length: perhaps the answer to another request, and then it was not the first one.
        if (report->answer.size() != head.replyLength && looksLikeAnAnswer(report->answer))
            tell(head.var.station, m_doubt[head.var.station].mismatch());
        break;
    }
}

void ExchangeLoop::handIn(ExchangeReport *report)
{
    if (report->outcome == Outcome::NoAnswer)
        report->reason = QStringLiteral("no answer within %1 ms").arg(m_settings.timeout.count());
    if (report->outcome == Outcome::LinkLost)
        report->reason =
            QStringLiteral("the link broke: %1").arg(m_keeper->link(report->var.station)->problem());
    if (report->outcome == Outcome::Malformed)
        report->reason = QStringLiteral("the answer was disturbed");
    m_listener->answerCame(*report);

    // A disturbed answer is handed in as none, since the driver would take what it can from it. A frame that
    // expects no answer gets "OK" with length 0, since an empty reply counts as an error.
    const bool whole = report->outcome == Outcome::Answered || report->outcome == Outcome::PlcError;
    QByteArray reply = whole ? report->answer : QByteArray();
    const int length = int(reply.size());
    if (report->outcome == Outcome::NotExpected)
        reply = "OK";
    const auto *var = reinterpret_cast<const RW_VAR *>(m_calls.dataCom(&reply, length));
    report->result = var->result;
    report->lastFrame = report->kind != FrameKind::Handshake && report->result != 0 &&
                        m_block->framesDone >= m_block->framesPerRequest;
}

void ExchangeLoop::afterwards(const ExchangeReport &report)
{
    const bool well = report.wentWell();
    if (well)
        m_block->retryCount = 0; // counted per request: the driver itself clears it on give-up alone
    m_listener->exchanged(report);
    note(report);
    tellWatch(report);
    const bool finished = well ? report.lastFrame : report.result != 0;
    if (finished)
        m_requestCost = Clock::duration::zero();
    if (finished && report.kind == FrameKind::CyclicRead && m_pacer.finished(Clock::now())) {
        if (m_provePasses)
            proveAll();
        m_listener->cycleDone(m_pacer.lastCycle());
    }
}

// What the answer says about its predecessors, and what has to be proved now.
void ExchangeLoop::note(const ExchangeReport &report)
{
    const RW_VAR &var = report.var;
    StepDoubt &doubt = m_doubt[var.station];
    if (!report.answer.isEmpty())
        doubt.heard(report.answer, Clock::now());
    const bool well = report.wentWell();
    const bool unseen = report.kind == FrameKind::CyclicRead && !m_provePasses;
    if (well && report.kind != FrameKind::Handshake && !unseen) {
        const bool read = report.kind != FrameKind::Write;
        doubt.accepted({read ? UnitRange{var.station, var.area, var.address, var.count} : UnitRange{},
                        report.kind == FrameKind::CyclicRead ? 0 : var.ownerId});
    }
    if (report.doubled)
        tell(var.station, doubt.copied());
    // The link will be opened or greeted anew, and then nothing can be proved any more.
    const bool leaving = report.outcome == Outcome::NoAnswer || report.outcome == Outcome::Malformed ||
                         (report.outcome == Outcome::PlcError && report.verdict.errorCode == "E1");
    if (leaving)
        prove(var.station);
}

void ExchangeLoop::tellWatch(const ExchangeReport &report)
{
    StationWatch *watch = m_keeper->watch(report.var.station);
    if (watch == nullptr)
        return;
    const Time now = Clock::now();
    switch (report.outcome) {
    case Outcome::PlcError:
        // E1 is also what a PLC says whose link has been closed, by a restart for instance. The driver sends
        // again at once, and would open the link only after it had given the request up.
        if (report.verdict.errorCode == "E1" && report.result == 0)
            watch->greetAgain(now);
        [[fallthrough]];
    case Outcome::Answered:
        if (report.kind != FrameKind::Handshake)
            watch->answered();
        break;
    case Outcome::NoAnswer:
        watch->noAnswer(now);
        break;
    case Outcome::Malformed:
        watch->outOfStep(now);
        break;
    case Outcome::LinkLost:
    case Outcome::NoLink:
    case Outcome::NotExpected:
        break;
    }
    const bool unanswered = report.outcome != Outcome::Answered && report.outcome != Outcome::PlcError &&
                            report.outcome != Outcome::NotExpected;
    const bool givenUp = report.result != 0 && report.result != 1 && report.result != 100;
    if (givenUp && (unanswered || report.result == 201))
        watch->gaveUp(now, m_requestCost);
}

} // namespace kvhost
