#include "link_keeper.h"

#include <algorithm>

namespace kvhost
{

namespace
{
const QByteArray GREETING("CR\r\n");
}

StationWatch::Limits LinkKeeper::limitsFor(const PlcTarget &target, const Settings &settings,
                                           std::size_t links)
{
    StationWatch::Limits limits;
    limits.connect = std::clamp(settings.timeout * 2, Ms(500), Ms(3000));
    limits.answer = settings.timeout;
    limits.silence = std::clamp(settings.timeout / 2, Ms(50), Ms(1000));
    limits.line = target.url.kind == PlcUrl::Kind::Serial;
    limits.restFactor = links > 1 ? 12 : 0;
    return limits;
}

LinkKeeper::LinkKeeper(const std::vector<PlcTarget> &targets, Settings settings)
    : m_settings(std::move(settings))
{
    for (const PlcTarget &target : targets) {
        m_kept.emplace(target.station, Kept{target,
                                            makeLink(target.url, m_settings.wake),
                                            StationWatch(limitsFor(target, m_settings, targets.size())),
                                            {},
                                            false,
                                            -1});
    }
}

void LinkKeeper::serve(Time now)
{
    for (auto &[station, kept] : m_kept)
        serve(&kept, now);
}

void LinkKeeper::serve(Kept *kept, Time now)
{
    notice(kept, now);
    for (;;) {
        const StationWatch::Action action = kept->watch.step(now);
        if (action == StationWatch::Action::Nothing)
            break;
        act(kept, action);
        notice(kept, now);
    }
    tell(kept);
}

// What the link tells its watch.
void LinkKeeper::notice(Kept *kept, Time now)
{
    const auto state = kept->watch.state();
    if (state == StationWatch::State::Greeting || state == StationWatch::State::Settling) {
        const QByteArray bytes = kept->link->takeReceived();
        if (!bytes.isEmpty())
            noticeGreeting(kept, now, bytes);
    }
    if (kept->link->state() == Link::State::Open)
        kept->watch.linkOpened(now);
    else if (kept->link->state() == Link::State::Failed)
        kept->watch.linkFailed(now, kept->link->problem());
}

void LinkKeeper::noticeGreeting(Kept *kept, Time now, const QByteArray &bytes)
{
    if (kept->watch.state() == StationWatch::State::Settling) {
        m_settings.discarded(bytes);
        kept->watch.bytesWhileSettling(now);
        return;
    }
    kept->greeting += bytes;
    for (;;) {
        const int end = int(kept->greeting.indexOf("\r\n")) + 2;
        if (end < 2)
            return;
        const QByteArray line = kept->greeting.left(end);
        kept->greeting.remove(0, end);
        // Lines of another length are late answers that the greeting has flushed out.
        if (line.size() == 4)
            kept->watch.greetingAnswered(now, line);
        else
            m_settings.discarded(line);
    }
}

void LinkKeeper::act(Kept *kept, StationWatch::Action action)
{
    switch (action) {
    case StationWatch::Action::Open:
        kept->greeting.clear();
        kept->link->open();
        break;
    case StationWatch::Action::SendGreeting:
        kept->greeting.clear();
        kept->link->send(GREETING);
        break;
    case StationWatch::Action::Close:
        kept->link->close();
        break;
    case StationWatch::Action::Discard: {
        const QByteArray late = kept->link->takeReceived();
        if (!late.isEmpty())
            m_settings.discarded(late);
        break;
    }
    case StationWatch::Action::Nothing:
        break;
    }
}

void LinkKeeper::tell(Kept *kept)
{
    const bool ready = kept->watch.ready();
    if (ready == kept->told && kept->watch.failures() == kept->toldFailures)
        return;
    kept->told = ready;
    kept->toldFailures = kept->watch.failures();
    m_settings.changed({kept->target.station, kept->target.url.text(), ready, kept->watch.trouble(),
                        kept->watch.reason(), kept->watch.reconnects(), kept->watch.failures()});
}

Time LinkKeeper::nextDeadline() const
{
    Time next = Time::max();
    for (const auto &[station, kept] : m_kept)
        next = std::min(next, kept.watch.nextDeadline());
    return next;
}

bool LinkKeeper::ready(int station) const
{
    const auto found = m_kept.find(station);
    return found != m_kept.end() && found->second.watch.ready();
}

StationWatch *LinkKeeper::watch(int station)
{
    const auto found = m_kept.find(station);
    return found == m_kept.end() ? nullptr : &found->second.watch;
}

Link *LinkKeeper::link(int station)
{
    const auto found = m_kept.find(station);
    return found == m_kept.end() ? nullptr : found->second.link.get();
}

QByteArray LinkKeeper::empty(int station)
{
    Link *found = link(station);
    QByteArray bytes = found == nullptr ? QByteArray() : found->takeReceived();
    if (!bytes.isEmpty())
        m_settings.discarded(bytes);
    return bytes;
}

} // namespace kvhost
