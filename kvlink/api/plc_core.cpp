// SPDX-License-Identifier: MIT
#include "api/plc_core.h"

#include "api/settings_check.h"

#include <algorithm>

namespace kvlink
{
namespace
{
// What the engine needs of a tag. \return nothing with a problem
std::optional<EngineTag> engineTag(const TagSettings &settings, QString &problem)
{
    const std::optional<Place> place = parsePlace(settings.address, problem);
    if (!place)
        return std::nullopt;
    EngineTag tag;
    tag.place = *place;
    tag.period = settings.period;
    tag.scale = settings.scale;
    tag.offset = settings.offset;
    tag.deadband = settings.deadband;
    tag.readOnly = settings.access == Access::ReadOnly;
    tag.command = settings.command;
    tag.everySample = settings.everySample;
    return tag;
}
} // namespace

PlcCore::PlcCore(const LinkSettings &settings) : PlcCore(settings, systemParts(settings)) {}

PlcCore::PlcCore(const LinkSettings &settings, Parts parts) : PlcLink(settings, std::move(parts)) {}

// --- tags ----------------------------------------------------------------------------------------

Tag PlcCore::addTag(const TagSettings &settings, QString *problem)
{
    QStringList problems;
    const Tag tag = addTags({settings}, &problems).front();
    if (problem != nullptr)
        *problem = problems.front(); // cppcheck-suppress containerOutOfBounds ; one tag, one text
    return tag;
}

std::vector<Tag> PlcCore::addTags(const std::vector<TagSettings> &settings, QStringList *problems)
{
    std::vector<EngineTag> parsed;
    std::vector<TagSettings> good;
    std::vector<std::size_t> places; // of the good ones among all
    QStringList found;
    for (std::size_t i = 0; i < settings.size(); ++i) {
        QString problem = problemOf(settings[i]);
        const std::optional<EngineTag> tag =
            problem.isEmpty() ? engineTag(settings[i], problem) : std::nullopt;
        if (tag && fault() != Fault::None)
            problem = PlcLink::problem();
        found.append(problem);
        if (!problem.isEmpty())
            continue;
        parsed.push_back(*tag);
        good.push_back(settings[i]);
        places.push_back(i);
    }
    std::vector<Tag> tags(settings.size());
    const std::vector<Tag> added = mailbox().addTags(good);
    for (std::size_t i = 0; i < added.size(); ++i) {
        parsed[i].tag = added[i];
        tags[places[i]] = added[i];
    }
    if (!parsed.empty())
        call([&parsed](Engine &engine) { engine.addTags(parsed); });
    if (problems != nullptr)
        *problems = found;
    return tags;
}

bool PlcCore::removeTag(Tag tag)
{
    const bool known = mailbox().removeTag(tag);
    if (known)
        call([tag](Engine &engine) { engine.removeTag(tag); });
    return known;
}

bool PlcCore::setPeriod(Tag tag, Duration period)
{
    TagSettings changed;
    changed.period = period;
    const bool possible = problemOf(changed).isEmpty() && mailbox().hasTag(tag);
    if (possible)
        call([tag, period](Engine &engine) { engine.setPeriod(tag, period); });
    return possible;
}

TagSettings PlcCore::tagSettings(Tag tag) const
{
    TagSettings settings = mailbox().tagTexts(tag).value_or(TagSettings());
    const std::optional<EngineTag> numbers = engineTagOf(tag);
    if (!numbers)
        return settings;
    if (settings.name.isEmpty())
        settings.name = numbers->place.name();
    settings.period = numbers->period;
    settings.scale = numbers->scale;
    settings.offset = numbers->offset;
    settings.deadband = numbers->deadband;
    settings.access = numbers->readOnly ? Access::ReadOnly : Access::ReadWrite;
    settings.everySample = numbers->everySample;
    settings.command = numbers->command;
    return settings;
}

// --- values --------------------------------------------------------------------------------------

Sample PlcCore::sample(Tag tag) const
{
    return samples({tag}).front();
}

std::vector<Sample> PlcCore::samples(const std::vector<Tag> &tags) const
{
    std::vector<Sample> all(tags.size());
    look([&](const Engine &engine) {
        std::transform(tags.begin(), tags.end(), all.begin(), [&](Tag tag) { return engine.sample(tag); });
    });
    return all;
}

std::optional<Event> PlcCore::take()
{
    if (fault() != Fault::None)
        return mailbox().take();
    // Taken and looked at between two steps: so no answer is seen here and reported once more.
    return look([this](const Engine &engine) {
        std::optional<Event> event = mailbox().take();
        if (auto *change = event ? std::get_if<Events::Change>(&*event) : nullptr)
            change->sample = engine.sample(change->tag);
        return event;
    });
}

// --- reads ---------------------------------------------------------------------------------------

ReadId PlcCore::readNow(const std::vector<Tag> &tags)
{
    const ReadId id = newId();
    if (!post([id, tags](Engine &engine) { engine.readNow(id, tags); })) {
        Events events;
        events.reads.push_back(id);
        mailbox().put(events);
    }
    return id;
}

bool PlcCore::read(const std::vector<Tag> &tags, Duration longest)
{
    const SteadyTime end = SystemClock().now() + countable(longest);
    if (!mailbox().waitForLink(longest))
        return false;
    const ReadId id = newId();
    mailbox().expect(id);
    const bool posted = post([id, tags](Engine &engine) { engine.readNow(id, tags); });
    const Duration left = posted ? std::max(end - SystemClock().now(), Duration(0)) : Duration(0);
    const bool ended = mailbox().await(id, left).has_value();
    mailbox().forget(id);
    return ended;
}

// --- the link itself -----------------------------------------------------------------------------

LinkStatistics PlcCore::statistics() const
{
    LinkStatistics statistics = look([](const Engine &engine) { return engine.statistics(); });
    statistics.writesNotSent += m_writes.unsent();
    return statistics;
}

ReadPlan PlcCore::plan() const
{
    return look([](const Engine &engine) { return engine.plan(); });
}

bool PlcCore::isQuestion(const QString &command)
{
    return command == QLatin1String("?K") || command == QLatin1String("?M") || command == QLatin1String("?E");
}

QString PlcCore::noQuestion(const QString &command)
{
    return QStringLiteral("'%1' is not a question to a PLC; ask ?K, ?M or ?E").arg(command);
}

void PlcCore::ask(QueryId id, const QString &command)
{
    QueryResult result;
    result.id = id;
    if (!isQuestion(command))
        result.problem = noQuestion(command);
    else if (!post([id, command](Engine &engine) { engine.query(id, command.toLatin1()); }))
        result.problem = QStringLiteral("the link is stopped");
    if (result.problem.isEmpty())
        return;
    Events events;
    events.queries.push_back(result);
    mailbox().put(events);
}

QueryId PlcCore::query(const QString &command)
{
    const QueryId id = newId();
    ask(id, command);
    return id;
}

QueryResult PlcCore::queryAndWait(const QString &command, Duration longest)
{
    const SteadyTime end = SystemClock().now() + countable(longest);
    mailbox().waitForLink(longest);
    const QueryId id = newId();
    mailbox().expect(id);
    ask(id, command);
    const std::optional<Event> event = mailbox().await(id, std::max(end - SystemClock().now(), Duration(0)));
    mailbox().forget(id);
    const QueryResult *result = event ? std::get_if<QueryResult>(&*event) : nullptr;
    return result == nullptr ? QueryResult{id, false, {}, QStringLiteral("no answer in time")} : *result;
}

} // namespace kvlink
