// SPDX-License-Identifier: MIT
// The variables of a command as tags of their PLCs.
#pragma once

#include "app.h"

#include <functional>

namespace kvhost
{

class Subscription
{
public:
    /// \param period 0: read only when it is asked for
    /// \param isEach each answer is a sample of its own, also one that brings the same value again
    Subscription(App &app, std::vector<kvtags::Variable> variables, kvlink::Duration period,
                 bool isEach = false);
    Subscription(const Subscription &) = delete;
    Subscription &operator=(const Subscription &) = delete;

    /// What kvlink refuses of the tags, one sentence; empty: all is well.
    const QString &problem() const { return m_problem; }

    int size() const { return int(m_variables.size()); }
    const std::vector<kvtags::Variable> &variables() const { return m_variables; }
    const kvtags::Variable &variable(int i) const { return m_variables[std::size_t(i)]; }
    Station &station(int i) const { return *m_stations[std::size_t(i)]; }
    kvlink::Tag tag(int i) const { return m_tags[std::size_t(i)]; }
    /// With the link's own reason where there is no link.
    kvlink::Sample sample(int i) const;
    /// The row of value \a value of variable \a i, as it is now.
    Row row(int i, int value, const kvlink::Sample &sample) const;

    /// Calls this for each sample that comes from now on, on the main thread.
    void onSample(const std::function<void(int i, const kvlink::Sample &sample)> &handler);

    /// Waits until each PLC of these variables is linked or has failed often enough.
    /// \return false if a signal came
    bool waitForLinks();
    /// Reads all of them once. What is not answered is asked again, as often as --retries allows.
    /// \return false if a signal came
    bool readOnce();

    /// How the values stand: 0, 1, or one code for all of them.
    int exitCode() const;

private:
    bool readAll(const std::vector<int> &wanted);
    bool hasGivenUp(const Station &station) const;

    App &m_app;
    std::vector<kvtags::Variable> m_variables;
    std::vector<Station *> m_stations; ///< of each variable
    std::vector<kvlink::Tag> m_tags;   ///< of each variable
    QHash<Station *, QHash<kvlink::Tag, int>> m_positions;
    QString m_problem;
};

} // namespace kvhost
