// SPDX-License-Identifier: MIT
#include "try_limit.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>

namespace kvgateway
{

namespace
{

constexpr int mostDoublings = 20; // 12 days after a second: beyond any longest wait

} // namespace

kvlink::Duration TryLimit::waitOf(const QString &key, kvlink::SteadyTime now) const
{
    const auto found = m_failures.constFind(key);
    if (found == m_failures.constEnd())
        return {};
    return std::max(found->until - now, kvlink::Duration(0));
}

void TryLimit::failed(const QString &key, kvlink::SteadyTime now)
{
    if (!m_failures.contains(key) && m_failures.size() >= m_rules.mostKeys)
        makeRoom();
    Failures &failures = m_failures[key];
    if (now - failures.last >= m_rules.forget)
        failures.count = 0;
    ++failures.count;
    failures.last = now;
    const int doublings = std::min(failures.count - m_rules.free - 1, mostDoublings);
    failures.until = now;
    if (doublings >= 0)
        failures.until +=
            std::min<kvlink::Duration>(m_rules.longest, m_rules.first * (qint64(1) << doublings));
}

void TryLimit::makeRoom()
{
    const auto oldest =
        std::min_element(m_failures.begin(), m_failures.end(),
                         [](const Failures &one, const Failures &other) { return one.last < other.last; });
    if (oldest != m_failures.end())
        m_failures.erase(oldest);
}

QString addressKey(const QString &address)
{
    const QByteArray text = address.toLatin1();
    std::array<unsigned char, sizeof(in6_addr)> bytes{};
    if (::inet_pton(AF_INET6, text.constData(), bytes.data()) != 1)
        return address;
    constexpr std::array<unsigned char, 12> mapped{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
    std::array<char, INET6_ADDRSTRLEN> shown{};
    if (std::equal(mapped.begin(), mapped.end(), bytes.begin())) {
        ::inet_ntop(AF_INET, bytes.data() + mapped.size(), shown.data(), shown.size());
        return QString::fromLatin1(shown.data());
    }
    std::fill(bytes.begin() + bytes.size() / 2, bytes.end(), '\0');
    ::inet_ntop(AF_INET6, bytes.data(), shown.data(), shown.size());
    return QString::fromLatin1(shown.data()) + QStringLiteral("/64");
}

} // namespace kvgateway
