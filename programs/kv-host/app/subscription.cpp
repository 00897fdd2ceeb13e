// SPDX-License-Identifier: MIT
#include "subscription.h"

#include "exit_code.h"

#include <algorithm>
#include <memory>
#include <numeric>

namespace kvhost
{

using kvlink::Quality;
using kvlink::Reason;
using kvlink::Sample;

Subscription::Subscription(App &app, std::vector<kvtags::Variable> variables, kvlink::Duration period,
                           bool isEach)
    : m_app(app), m_variables(std::move(variables)), m_tags(m_variables.size())
{
    for (Station &station : app.stations.all()) {
        std::vector<kvlink::TagSettings> settings;
        std::vector<int> positions;
        for (int i = 0; i < size(); ++i) {
            if (variable(i).station != station.number)
                continue;
            settings.push_back(variable(i).settings);
            settings.back().period = period;
            settings.back().everySample = isEach;
            positions.push_back(i);
        }
        QStringList problems;
        const std::vector<kvlink::Tag> tags = station.plc->addTags(settings, &problems);
        for (std::size_t k = 0; k < tags.size(); ++k) {
            m_tags[std::size_t(positions[k])] = tags[k];
            m_positions[&station].insert(tags[k], positions[k]);
            if (!tags[k].isValid() && m_problem.isEmpty())
                m_problem = problems.value(int(k));
        }
    }
    for (const kvtags::Variable &one : m_variables)
        m_stations.push_back(app.stations.find(one.station));
}

Sample Subscription::sample(int i) const
{
    Sample sample = station(i).plc->sample(tag(i));
    if (sample.quality == Quality::Never && !station(i).plc->link().isReady()) {
        sample.quality = Quality::Bad;
        sample.reason = Reason::NoLink;
    }
    return sample;
}

Row Subscription::row(int i, int value, const Sample &sample) const
{
    Row row = makeRow(variable(i), value, sample, nowMs());
    if (sample.quality == Quality::Bad && sample.reason == Reason::NoLink)
        row.error = station(i).linkProblem();
    return row;
}

void Subscription::onSample(const std::function<void(int, const Sample &)> &handler)
{
    for (auto station = m_positions.begin(); station != m_positions.end(); ++station) {
        kvlink::Plc *plc = station.key()->plc.get();
        QObject::connect(plc, &kvlink::Plc::changed, plc,
                         [handler, positions = station.value()](kvlink::Tag tag, const Sample &sample) {
                             const auto position = positions.constFind(tag);
                             if (position != positions.constEnd())
                                 handler(*position, sample);
                         });
    }
}

bool Subscription::hasGivenUp(const Station &station) const
{
    return station.plc->link().isReady() || station.failures > m_app.options.retries;
}

bool Subscription::waitForLinks()
{
    m_app.wait.until([this] {
        const auto stations = m_positions.keys();
        return std::all_of(stations.begin(), stations.end(),
                           [this](const Station *one) { return hasGivenUp(*one); });
    });
    return m_app.wait.interrupted() == 0;
}

bool Subscription::readAll(const std::vector<int> &wanted)
{
    QHash<Station *, std::vector<kvlink::Tag>> tags;
    for (const int i : wanted) {
        if (station(i).plc->link().isReady())
            tags[&station(i)].push_back(tag(i));
    }
    const auto left = std::make_shared<int>(int(tags.size()));
    std::vector<QMetaObject::Connection> connections;
    for (auto one = tags.begin(); one != tags.end(); ++one) {
        kvlink::Plc *plc = one.key()->plc.get();
        const auto id = std::make_shared<kvlink::ReadId>(0);
        connections.push_back(
            QObject::connect(plc, &kvlink::Plc::readFinished, plc, [left, id](kvlink::ReadId done) {
                if (done == *id)
                    --*left;
            }));
        *id = plc->readNow(one.value());
    }
    m_app.wait.until([&left] { return *left == 0; });
    for (const QMetaObject::Connection &connection : connections)
        QObject::disconnect(connection);
    return m_app.wait.interrupted() == 0;
}

bool Subscription::readOnce()
{
    std::vector<int> wanted(static_cast<std::size_t>(size()));
    std::iota(wanted.begin(), wanted.end(), 0);
    for (int attempt = 0; attempt <= m_app.options.retries && !wanted.empty(); ++attempt) {
        if (!waitForLinks() || !readAll(wanted))
            return false;
        const auto isEnd = [this](int i) {
            const Sample now = sample(i);
            const int code = now.quality == Quality::Bad ? exitCodeOf(now.reason) : int(ExitGood);
            const bool isGivenUp =
                !station(i).plc->link().isReady() && station(i).failures > m_app.options.retries;
            return (code != ExitNoLink && code != ExitNoAnswer) || isGivenUp;
        };
        wanted.erase(std::remove_if(wanted.begin(), wanted.end(), isEnd), wanted.end());
    }
    return true;
}

int Subscription::exitCode() const
{
    std::vector<int> codes;
    for (int i = 0; i < size(); ++i) {
        const Sample now = sample(i);
        if (now.isGood())
            codes.push_back(ExitGood);
        else
            codes.push_back(now.quality == Quality::Bad ? exitCodeOf(now.reason) : int(ExitSomeBad));
    }
    return exitCodeOf(codes);
}

} // namespace kvhost
