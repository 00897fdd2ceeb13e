// SPDX-License-Identifier: MIT
#include "api/plc_core.h"

#include "api/settings_check.h"
#include "api/traced_transport.h"
#include "api/write_frames.h"
#include "driver/loaded_driver.h"
#include "transport/make_transport.h"

#include <QRandomGenerator>

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

// --- the link ------------------------------------------------------------------------------------

PlcCore::Parts PlcCore::systemParts(const LinkSettings &settings)
{
    Parts parts;
    parts.clock = std::make_unique<SystemClock>();
    parts.problem = problemOf(settings);
    parts.fault = Fault::Settings;
    if (!parts.problem.isEmpty())
        return parts;
    parts.fault = Fault::Address;
    parts.transport = makeTransport(settings.url, parts.problem);
    if (!parts.transport)
        return parts;
    if (settings.trace)
        parts.transport = std::make_unique<TracedTransport>(std::move(parts.transport), settings.trace);
    parts.fault = Fault::Driver;
    parts.driver = LoadedDriver::load(settings.driver, parts.problem);
    if (parts.driver)
        parts.fault = Fault::None;
    return parts;
}

PlcCore::PlcCore(const LinkSettings &settings) : PlcCore(settings, systemParts(settings)) {}

PlcCore::PlcCore(const LinkSettings &settings, Parts parts)
    : m_settings(settings), m_parts(std::move(parts)), m_problem(m_parts.problem)
{
    if (m_parts.fault != Fault::None)
        return;
    m_engine = std::make_unique<Engine>(*m_parts.clock, *m_parts.transport, *m_parts.driver, m_settings,
                                        QRandomGenerator::global()->generate64());
    m_thread = std::make_unique<LinkThread>(*m_parts.clock, *m_parts.transport, *m_engine,
                                            [this](Events &events) { m_mailbox.put(events); });
}

PlcCore::~PlcCore()
{
    stop();
}

QString PlcCore::problem() const
{
    const std::lock_guard held(m_problemMutex);
    return m_problem;
}

bool PlcCore::start()
{
    const std::lock_guard life(m_lifeMutex);
    if (!m_thread)
        return false;
    if (m_mailbox.link().state == LinkState::Stopped)
        m_mailbox.setLink(LinkState::Resolving); // waitForLink may be called before the thread says so
    QString problem;
    const bool started = m_thread->start(problem);
    if (!started)
        m_mailbox.setLink(LinkState::Stopped);
    const std::lock_guard held(m_problemMutex);
    m_problem = problem;
    return started;
}

void PlcCore::stop()
{
    const std::lock_guard life(m_lifeMutex);
    if (!m_thread)
        return;
    m_thread->stop();
    m_mailbox.setLink(LinkState::Stopped);
}

// False while the link is stopped.
bool PlcCore::post(LinkThread::Command command)
{
    return m_thread && m_thread->post(std::move(command));
}

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
        if (tag && !m_thread)
            problem = m_parts.problem;
        found.append(problem);
        if (!problem.isEmpty())
            continue;
        parsed.push_back(*tag);
        good.push_back(settings[i]);
        places.push_back(i);
    }
    std::vector<Tag> tags(settings.size());
    const std::vector<Tag> added = m_mailbox.addTags(good);
    for (std::size_t i = 0; i < added.size(); ++i) {
        parsed[i].tag = added[i];
        tags[places[i]] = added[i];
    }
    if (!parsed.empty())
        m_thread->call([&parsed](Engine &engine) { engine.addTags(parsed); });
    if (problems != nullptr)
        *problems = found;
    return tags;
}

bool PlcCore::removeTag(Tag tag)
{
    const bool known = m_mailbox.removeTag(tag);
    if (known)
        m_thread->call([tag](Engine &engine) { engine.removeTag(tag); });
    return known;
}

bool PlcCore::setPeriod(Tag tag, Duration period)
{
    TagSettings changed;
    changed.period = period;
    const bool possible = problemOf(changed).isEmpty() && m_mailbox.hasTag(tag);
    if (possible)
        m_thread->call([tag, period](Engine &engine) { engine.setPeriod(tag, period); });
    return possible;
}

std::optional<EngineTag> PlcCore::engineTagOf(Tag tag) const
{
    if (!m_thread)
        return std::nullopt;
    return m_thread->look([tag](const Engine &engine) { return engine.tag(tag); });
}

TagSettings PlcCore::tagSettings(Tag tag) const
{
    TagSettings settings = m_mailbox.tagTexts(tag).value_or(TagSettings());
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
    if (!m_thread)
        return all;
    m_thread->look([&](const Engine &engine) {
        std::transform(tags.begin(), tags.end(), all.begin(), [&](Tag tag) { return engine.sample(tag); });
    });
    return all;
}

std::optional<Event> PlcCore::take()
{
    if (!m_thread)
        return m_mailbox.take();
    // Taken and looked at between two steps: so no answer is seen here and reported once more.
    return m_thread->look([this](const Engine &engine) {
        std::optional<Event> event = m_mailbox.take();
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
        m_mailbox.put(events);
    }
    return id;
}

bool PlcCore::read(const std::vector<Tag> &tags, Duration longest)
{
    const SteadyTime end = SystemClock().now() + longest;
    if (!m_mailbox.waitForLink(longest))
        return false;
    const ReadId id = newId();
    m_mailbox.expect(id);
    const bool posted = post([id, tags](Engine &engine) { engine.readNow(id, tags); });
    const Duration left = posted ? std::max(end - SystemClock().now(), Duration(0)) : Duration(0);
    const bool ended = m_mailbox.await(id, left).has_value();
    m_mailbox.forget(id);
    return ended;
}

// --- the link itself -----------------------------------------------------------------------------

LinkStatistics PlcCore::statistics() const
{
    LinkStatistics statistics;
    if (m_thread)
        statistics = m_thread->look([](const Engine &engine) { return engine.statistics(); });
    statistics.writesNotSent += m_unsent;
    return statistics;
}

ReadPlan PlcCore::plan() const
{
    ReadPlan plan;
    if (m_thread)
        plan = m_thread->look([](const Engine &engine) { return engine.plan(); });
    return plan;
}

QStringList PlcCore::framesOfWrite(Tag tag, const QString &typed, QString &problem)
{
    const std::optional<EngineTag> known = engineTagOf(tag);
    problem = QStringLiteral("there is no such tag");
    const auto value =
        known ? valueFromText(known->place, typed, known->scale, known->offset, problem) : std::nullopt;
    const Coding coding{m_settings.wordOrder, m_settings.textEncoding};
    const auto pieces = value ? encode(known->place, *value, coding, known->scale, known->offset,
                                       m_settings.maxBlock, problem)
                              : std::nullopt;
    QStringList frames;
    if (!pieces)
        return frames;
    m_thread->call([&](const Engine &engine) { // the driver is the engine's
        problem.clear();
        if (engine.link().state != LinkState::Stopped)
            problem = QStringLiteral("frames are shown before the link is started");
        for (const WriteUnits &piece : problem.isEmpty() ? *pieces : std::vector<WriteUnits>())
            frames += framesOf(*m_parts.driver, piece);
    });
    return frames;
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
    m_mailbox.put(events);
}

QueryId PlcCore::query(const QString &command)
{
    const QueryId id = newId();
    ask(id, command);
    return id;
}

QueryResult PlcCore::queryAndWait(const QString &command, Duration longest)
{
    const SteadyTime end = SystemClock().now() + longest;
    m_mailbox.waitForLink(longest);
    const QueryId id = newId();
    m_mailbox.expect(id);
    ask(id, command);
    const std::optional<Event> event = m_mailbox.await(id, std::max(end - SystemClock().now(), Duration(0)));
    m_mailbox.forget(id);
    const QueryResult *result = event ? std::get_if<QueryResult>(&*event) : nullptr;
    return result == nullptr ? QueryResult{id, false, {}, QStringLiteral("no answer in time")} : *result;
}

} // namespace kvlink
