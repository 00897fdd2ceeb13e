// SPDX-License-Identifier: MIT
// Limits how often somebody may guess: after some failures each further one costs a
// wait that doubles.
#pragma once

#include <kvlink/times.h>

#include <QHash>
#include <QString>

namespace kvgateway
{

struct TryRules {
    int free = 5;                                     ///< failures without a wait
    kvlink::Duration first = std::chrono::seconds(1); ///< the wait after one more; then twice as long, ...
    kvlink::Duration longest = std::chrono::minutes(15);
    kvlink::Duration forget = std::chrono::minutes(30); ///< without a failure for so long: counts from 0
    int mostKeys = 10'000; ///< beyond, the one that failed longest ago is forgotten
};

/// One thread at a time. Times are handed in.
class TryLimit
{
public:
    explicit TryLimit(const TryRules &rules) : m_rules(rules) {}

    /// How long \a key has to wait until it may try again; 0: it may.
    kvlink::Duration waitOf(const QString &key, kvlink::SteadyTime now) const;
    void failed(const QString &key, kvlink::SteadyTime now);
    void succeeded(const QString &key) { m_failures.remove(key); }
    int keys() const { return int(m_failures.size()); }

private:
    struct Failures {
        int count = 0;
        kvlink::SteadyTime last{};
        kvlink::SteadyTime until{};
    };
    void makeRoom();

    TryRules m_rules;
    QHash<QString, Failures> m_failures;
};

/// What one person has at hand: an IPv4 address, or the first 64 bits of an IPv6 address.
/// What is neither is its own key. Examples: "::ffff:10.0.0.7" -> "10.0.0.7";
/// "2001:db8::17" -> "2001:db8::/64"
QString addressKey(const QString &address);

} // namespace kvgateway
