// SPDX-License-Identifier: MIT
#include "host_state.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace kvgateway
{

std::optional<bool> HostState::take(const QByteArray &payload)
{
    const QJsonObject object = QJsonDocument::fromJson(payload).object();
    const QJsonValue online = object.value(QStringLiteral("online"));
    const QJsonValue time = object.value(QStringLiteral("timestamp"));
    if (!online.isBool() || !time.isDouble() || (m_onlineAt && time.toDouble() < *m_onlineAt))
        return std::nullopt;
    if (online.toBool())
        m_onlineAt = time.toDouble();
    return online.toBool();
}

} // namespace kvgateway
