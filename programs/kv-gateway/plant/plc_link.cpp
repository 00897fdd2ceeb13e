// SPDX-License-Identifier: MIT
#include "plc_link.h"

#include <QSet>

#include <algorithm>

namespace kvgateway
{

namespace
{

constexpr kvlink::Duration askAgainAfter = std::chrono::seconds(10);

struct QuestionRow {
    const char *command;
    QString PlcIdentity::*answer;
};

constexpr QuestionRow questionRows[] = {
    {"?K", &PlcIdentity::model}, {"?M", &PlcIdentity::mode}, {"?E", &PlcIdentity::error}};

} // namespace

PlcLink::PlcLink(const PlcConfig &config)
    : m_config{config.name, config.link, {}}, m_plc(std::make_unique<kvlink::Plc>(config.link))
{
    QObject::connect(m_plc.get(), &kvlink::Plc::queryFinished, m_plc.get(),
                     [this](const kvlink::QueryResult &result) { takeAnswer(result); });
}

PlcLink::~PlcLink()
{
    if (m_stopper.joinable())
        m_stopper.join();
}

std::unique_ptr<PlcLink> PlcLink::build(const PlcConfig &config, const LiveTable &table, QString &problem)
{
    std::unique_ptr<PlcLink> link(new PlcLink(config));
    problem = link->m_plc->problem();
    if (!problem.isEmpty())
        problem = QStringLiteral("plc \"%1\": %2").arg(config.name, problem);
    if (!problem.isEmpty() || !link->prepare(config, table, problem))
        return nullptr;
    return link;
}

bool PlcLink::prepare(const PlcConfig &config, const LiveTable &table, QString &problem)
{
    std::vector<kvlink::TagSettings> missing;
    std::vector<std::size_t> places;
    m_nextTags.assign(config.tags.size(), {});
    for (std::size_t i = 0; i < config.tags.size(); ++i) {
        const int old = m_tags.empty() ? -1 : table.find(config.tags[i].name);
        if (old >= 0 && table.tags()[std::size_t(old)].config.readsLike(config.tags[i])) {
            m_nextTags[i] = tagAt(old);
        } else {
            missing.push_back(config.tags[i].settings);
            places.push_back(i);
        }
    }
    QStringList problems;
    m_added = m_plc->addTags(missing, &problems);
    for (std::size_t i = 0; i < m_added.size(); ++i) {
        m_nextTags[places[i]] = m_added[i];
        if (!m_added[i].isValid() && problem.isEmpty())
            problem = QStringLiteral("%1: %2").arg(config.tags[places[i]].name, problems.value(int(i)));
    }
    if (!problem.isEmpty())
        rollBack();
    return problem.isEmpty();
}

void PlcLink::commit()
{
    QSet<kvlink::Tag> kept;
    for (const kvlink::Tag tag : m_nextTags)
        kept.insert(tag);
    for (const kvlink::Tag tag : m_tags) {
        if (!kept.contains(tag))
            m_plc->removeTag(tag);
    }
    m_tags = std::move(m_nextTags);
    m_added.clear();
    m_orders.clear();
    for (std::size_t i = 0; i < m_tags.size(); ++i)
        m_orders.emplace_back(m_tags[i], int(i));
    std::sort(m_orders.begin(), m_orders.end());
}

void PlcLink::rollBack()
{
    for (const kvlink::Tag tag : m_added) {
        if (tag.isValid())
            m_plc->removeTag(tag);
    }
    m_added.clear();
    m_nextTags.clear();
}

int PlcLink::indexOf(kvlink::Tag tag) const
{
    const auto found = std::lower_bound(m_orders.begin(), m_orders.end(), std::pair(tag, 0));
    return found == m_orders.end() || found->first != tag ? -1 : m_firstIndex + found->second;
}

PlcIdentity PlcLink::identity(kvlink::SteadyTime now)
{
    if (!m_plc->link().isReady()) {
        m_identity = {};
        m_askedAt.reset();
    } else if (!m_askedAt || now - *m_askedAt >= askAgainAfter) {
        m_askedAt = now;
        m_questions.clear();
        for (const QuestionRow &row : questionRows)
            m_questions.insert(m_plc->query(QString::fromLatin1(row.command)), row.answer);
    }
    return m_identity;
}

// Answers of one letter and a digit are errors of the PLC: it does not know the question.
void PlcLink::takeAnswer(const kvlink::QueryResult &result)
{
    const auto question = m_questions.constFind(result.id);
    if (question == m_questions.constEnd())
        return;
    m_identity.*question.value() =
        result.answered && !result.answer.startsWith('E') ? result.answer.trimmed() : QString();
    m_questions.erase(question);
}

void PlcLink::beginStop(std::function<void()> whenStopped)
{
    if (m_stopper.joinable())
        return;
    m_stopper = std::thread([plc = m_plc.get(), whenStopped = std::move(whenStopped)] {
        plc->stop();
        whenStopped();
    });
}

void PlcLink::endStop()
{
    if (m_stopper.joinable())
        m_stopper.join();
}

void PlcLink::giveLastSignals()
{
    while (m_plc->waitForChange(kvlink::Duration(0))) {
    }
}

} // namespace kvgateway
