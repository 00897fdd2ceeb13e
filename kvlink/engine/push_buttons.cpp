// SPDX-License-Identifier: MIT
#include "engine/push_buttons.h"

#include "engine/write_outcomes.h"

#include <algorithm>

namespace kvlink
{

void PushButtons::begin(QueuedWrite release, std::optional<Duration> length, SteadyTime now)
{
    const WriteId id = release.id;
    m_strokes[id] = {std::move(release), length, now + lease, Phase::Pressing, {}};
}

void PushButtons::renew(WriteId id, SteadyTime now)
{
    const auto stroke = m_strokes.find(id);
    // Not once it has been released: a button that was let go stays so.
    if (stroke != m_strokes.end() && !stroke->second.length && stroke->second.releaseAt > now)
        stroke->second.releaseAt = now + lease;
}

void PushButtons::release(WriteId id, SteadyTime now)
{
    const auto stroke = m_strokes.find(id);
    if (stroke != m_strokes.end() && !stroke->second.length)
        stroke->second.releaseAt = std::min(stroke->second.releaseAt, now);
}

void PushButtons::releaseAll(SteadyTime now)
{
    for (auto &[id, stroke] : m_strokes)
        stroke.releaseAt = std::min(stroke.releaseAt, now);
}

std::optional<WriteEnd> PushButtons::ended(const WriteEnd &end, SteadyTime now)
{
    const auto found = m_strokes.find(end.id);
    if (found == m_strokes.end())
        return std::nullopt;
    Stroke &stroke = found->second;
    const bool pressedMaybe = end.outcome == Outcome::Done || end.outcome == Outcome::Unknown;
    if (end.kind == WriteKind::Press && pressedMaybe) {
        stroke.press = end;
        stroke.phase = Phase::Pressed;
        if (end.outcome == Outcome::Unknown)
            stroke.releaseAt = now;
        else if (stroke.length)
            stroke.releaseAt = now + *stroke.length;
        return std::nullopt;
    }
    const WriteEnd whole = end.kind == WriteKind::Press ? end : together(stroke.press, end);
    m_strokes.erase(found);
    return whole;
}

// Done only if both are.
WriteEnd PushButtons::together(const WriteEnd &press, const WriteEnd &release)
{
    WriteEnd end = press;
    if (press.outcome != Outcome::Done || release.outcome == Outcome::Done)
        return end;
    end.outcome = Outcome::Unknown;
    end.reason = Reason::PartlyDone;
    end.plcError = release.plcError;
    end.text = endText(end.outcome, end.reason, QStringLiteral("pressed; the release: ") + release.text);
    return end;
}

std::vector<QueuedWrite> PushButtons::takeDue(SteadyTime now)
{
    std::vector<QueuedWrite> due;
    for (auto &[id, stroke] : m_strokes) {
        if (stroke.phase != Phase::Pressed || stroke.releaseAt > now)
            continue;
        stroke.phase = Phase::Releasing;
        due.push_back(stroke.release);
    }
    return due;
}

SteadyTime PushButtons::nextDue() const
{
    SteadyTime next = SteadyTime::max();
    for (const auto &[id, stroke] : m_strokes) {
        if (stroke.phase == Phase::Pressed)
            next = std::min(next, stroke.releaseAt);
    }
    return next;
}

std::vector<WriteEnd> PushButtons::stop()
{
    std::vector<WriteEnd> ends;
    for (const auto &[id, stroke] : m_strokes) {
        WriteEnd release = stroke.press;
        release.outcome = Outcome::NotSent;
        release.text = endText(Outcome::NotSent, Reason::Stopped);
        ends.push_back(together(stroke.press, release));
    }
    m_strokes.clear();
    return ends;
}

} // namespace kvlink
