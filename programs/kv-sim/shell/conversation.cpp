// SPDX-License-Identifier: MIT
// One connection's requests and answers.
#include "shell/conversation.h"

#include <algorithm>
#include <utility>

namespace kvsim
{
namespace
{

void prepare(QTimer &timer)
{
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
}

const char *endingText(Ending ending)
{
    switch (ending) {
    case Ending::StayOpen:
        return "stays open";
    case Ending::Close:
        return "closed by a fault";
    case Ending::Reset:
        return "reset by a fault";
    case Ending::Vanish:
        return "left without a word by a fault";
    }
    return "";
}

} // namespace

Conversation::Conversation(LineContext &context, int number, Speech speech, Wire wire, std::uint32_t baud)
    : m_context(context), m_number(number), m_speech(speech), m_wire(std::move(wire)), m_baud(baud),
      m_splitter(context.lfEndsLine)
{
    for (QTimer *timer : {&m_arrival, &m_silence, &m_stepTimer, &m_overtaken})
        prepare(*timer);
    connect(&m_arrival, &QTimer::timeout, this, [this] { take(std::exchange(m_arriving, {})); });
    connect(&m_silence, &QTimer::timeout, this, [this] { serveSilence(); });
    connect(&m_stepTimer, &QTimer::timeout, this, [this] {
        goOn();
        workOff();
    });
    connect(&m_overtaken, &QTimer::timeout, this, [this] { sendHeldBack(); });
    m_clock.start();
}

void Conversation::receive(const QByteArray &bytes)
{
    if (bytes.isEmpty() || m_ended)
        return;
    m_context.simulator.statistics().countIn(std::size_t(bytes.size()));
    if (m_baud == 0)
        return take(bytes);
    m_arriving += bytes;
    m_arrivalDue =
        std::max(m_arrivalDue, m_clock.elapsed()) + serialTimeMs(std::size_t(bytes.size()), m_baud);
    m_arrival.start(int(m_arrivalDue - m_clock.elapsed()));
}

void Conversation::take(const QByteArray &bytes)
{
    m_input += bytes;
    workOff();
}

void Conversation::workOff()
{
    while (!m_busy && !m_ended && serveNext()) {
    }
    if (m_busy || m_ended)
        return;
    if (m_speech == Speech::RemoteRequests && m_remote.waiting())
        m_silence.start(m_context.remoteSilenceMs);
    else
        m_silence.stop();
    if (m_ready)
        m_ready();
}

bool Conversation::serveNext()
{
    return m_speech == Speech::Lines ? serveLine() : serveRemote();
}

bool Conversation::serveLine()
{
    std::string_view rest(m_input.constData(), std::size_t(m_input.size()));
    const auto line = m_splitter.next(rest);
    m_input = m_input.right(int(rest.size()));
    if (!line)
        return false;
    m_context.trace.lineIn(m_number, *line);
    begin(m_context.simulator.serve(*line, m_link));
    return true;
}

bool Conversation::serveRemote()
{
    std::string_view rest(m_input.constData(), std::size_t(m_input.size()));
    const auto request = m_remote.next(rest);
    m_input = m_input.right(int(rest.size()));
    if (request)
        answerRemote(*request);
    return request.has_value();
}

void Conversation::serveSilence()
{
    if (const auto request = m_remote.silence(); request && !m_ended)
        answerRemote(*request);
    workOff();
}

void Conversation::answerRemote(const RemoteRequest &request)
{
    m_context.trace.requestIn(m_number, request);
    begin(m_context.simulator.serveRemote(request));
}

void Conversation::begin(const Delivery &delivery)
{
    if (delivery.overtakenMs > 0 && m_heldBack.empty()) // one at a time: this one overtakes the last
        return holdBack(delivery);
    m_delivery = m_baud == 0 ? delivery : atBaud(delivery, m_baud);
    m_step = 0;
    m_stepDue = m_clock.elapsed();
    m_busy = true;
    if (!m_delivery.steps.empty())
        m_stepDue += m_delivery.steps[0].waitMs;
    goOn();
}

// Waits are counted from one due time to the next, so that many small ones do not add
// up their delays.
void Conversation::goOn()
{
    while (m_step < m_delivery.steps.size()) {
        const qint64 wait = m_stepDue - m_clock.elapsed();
        if (wait > 0)
            return m_stepTimer.start(int(wait));
        send(m_delivery.steps[m_step].bytes);
        if (++m_step < m_delivery.steps.size())
            m_stepDue += m_delivery.steps[m_step].waitMs;
    }
    if (!m_delivery.steps.empty())
        sendHeldBack();
    finish();
}

void Conversation::holdBack(const Delivery &delivery)
{
    for (const Step &step : delivery.steps)
        m_heldBack += step.bytes;
    m_overtaken.start(int(delivery.overtakenMs));
}

void Conversation::sendHeldBack()
{
    m_overtaken.stop();
    send(std::exchange(m_heldBack, {}));
}

void Conversation::send(const std::string &bytes)
{
    if (bytes.empty())
        return;
    m_context.simulator.statistics().countOut(bytes.size());
    m_context.trace.bytesOut(m_number, bytes);
    m_wire.send(QByteArray(bytes.data(), int(bytes.size())));
}

void Conversation::finish()
{
    m_busy = false;
    const Ending ending = std::exchange(m_delivery, {}).ending;
    if (ending == Ending::StayOpen)
        return;
    m_context.trace.ending(m_number, ending, endingText(ending));
    const auto &end = ending == Ending::Reset ? m_wire.reset : m_wire.close;
    if (!end)
        return;
    m_ended = true;
    if (ending != Ending::Vanish)
        end();
}

} // namespace kvsim
