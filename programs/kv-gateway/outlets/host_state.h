// SPDX-License-Identifier: MIT
// Whether the primary host of an edge node is there, by what it says itself.
#pragma once

#include <QByteArray>

#include <optional>

namespace kvgateway
{

/// Messages may come late or twice: one that is older than the last one that counted
/// does not count.
class HostState
{
public:
    /// \param payload {"online":true,"timestamp":1777881600000}: ms since 1970, UTC
    /// \return whether it is online; none: the message does not count
    std::optional<bool> take(const QByteArray &payload);

private:
    std::optional<double> m_onlineAt; ///< time stamp of the last one that said online
};

} // namespace kvgateway
