#include "conversation.h"

#include <algorithm>
#include <utility>

using namespace kvsim;

namespace
{

void prepare(QTimer &timer)
{
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
}

} // namespace

Conversation::Conversation(Exchange &exchange, int number, Speech speech, Wire wire, std::uint32_t baud)
    : exchange_(exchange), number_(number), speech_(speech), wire_(std::move(wire)), baud_(baud),
      splitter_(exchange.lfEndsLine)
{
    for (QTimer *timer : {&arrival_, &silence_, &stepTimer_})
        prepare(*timer);
    connect(&arrival_, &QTimer::timeout, this, [this] { take(std::exchange(arriving_, {})); });
    connect(&silence_, &QTimer::timeout, this, [this] { serveSilence(); });
    connect(&stepTimer_, &QTimer::timeout, this, [this] {
        goOn();
        workOff();
    });
    clock_.start();
}

void Conversation::receive(const QByteArray &bytes)
{
    if (bytes.isEmpty() || ended_)
        return;
    exchange_.simulator.statistics().countIn(static_cast<std::size_t>(bytes.size()));
    if (baud_ == 0)
        return take(bytes);
    arriving_ += bytes;
    arrivalDue_ =
        std::max(arrivalDue_, clock_.elapsed()) + serialTimeMs(static_cast<std::size_t>(bytes.size()), baud_);
    arrival_.start(static_cast<int>(arrivalDue_ - clock_.elapsed()));
}

void Conversation::take(const QByteArray &bytes)
{
    input_ += bytes;
    workOff();
}

void Conversation::workOff()
{
    while (!busy_ && !ended_ && serveNext()) {
    }
    if (busy_ || ended_)
        return;
    if (speech_ == Speech::RemoteRequests && remote_.waiting())
        silence_.start(exchange_.remoteSilenceMs);
    else
        silence_.stop();
    if (ready_)
        ready_();
}

bool Conversation::serveNext()
{
    return speech_ == Speech::Lines ? serveLine() : serveRemote();
}

bool Conversation::serveLine()
{
    std::string_view rest(input_.constData(), static_cast<std::size_t>(input_.size()));
    const auto line = splitter_.next(rest);
    input_ = input_.right(static_cast<int>(rest.size()));
    if (!line)
        return false;
    exchange_.trace.lineIn(number_, *line);
    begin(exchange_.simulator.serve(*line, link_));
    return true;
}

bool Conversation::serveRemote()
{
    std::string_view rest(input_.constData(), static_cast<std::size_t>(input_.size()));
    const auto request = remote_.next(rest);
    input_ = input_.right(static_cast<int>(rest.size()));
    if (request)
        answerRemote(*request);
    return request.has_value();
}

void Conversation::serveSilence()
{
    if (const auto request = remote_.silence(); request && !ended_)
        answerRemote(*request);
    workOff();
}

void Conversation::answerRemote(const RemoteRequest &request)
{
    exchange_.trace.requestIn(number_, request);
    begin(exchange_.simulator.serveRemote(request));
}

void Conversation::begin(const Delivery &delivery)
{
    delivery_ = baud_ == 0 ? delivery : atBaud(delivery, baud_);
    step_ = 0;
    stepDue_ = clock_.elapsed();
    busy_ = true;
    if (!delivery_.steps.empty())
        stepDue_ += delivery_.steps[0].waitMs;
    goOn();
}

// Waits are counted from one due time to the next, so that many small ones do not add up their delays.
void Conversation::goOn()
{
    while (step_ < delivery_.steps.size()) {
        const qint64 wait = stepDue_ - clock_.elapsed();
        if (wait > 0)
            return stepTimer_.start(static_cast<int>(wait));
        send(delivery_.steps[step_].bytes);
        if (++step_ < delivery_.steps.size())
            stepDue_ += delivery_.steps[step_].waitMs;
    }
    finish();
}

void Conversation::send(const std::string &bytes)
{
    if (bytes.empty())
        return;
    exchange_.simulator.statistics().countOut(bytes.size());
    exchange_.trace.bytesOut(number_, bytes);
    wire_.send(QByteArray(bytes.data(), static_cast<int>(bytes.size())));
}

void Conversation::finish()
{
    busy_ = false;
    const Ending ending = std::exchange(delivery_, {}).ending;
    if (ending == Ending::StayOpen)
        return;
    exchange_.trace.note(number_, ending == Ending::Close ? "closed by a fault" : "reset by a fault");
    const auto &end = ending == Ending::Close ? wire_.close : wire_.reset;
    if (!end)
        return;
    ended_ = true;
    end();
}
