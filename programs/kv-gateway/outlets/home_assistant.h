// SPDX-License-Identifier: MIT
// Discovery messages of Home Assistant: it shows each tag without being configured by hand.
#pragma once

#include "mqtt_client.h"
#include "mqtt_topics.h"

namespace kvgateway
{

/// One retained message for each tag; none if the configuration does not want them.
/// A bit becomes a binary_sensor, or a switch if it can be written; a number a sensor, or a number
/// if it has both limits and can be written; a text a sensor.
std::vector<MqttMessage> discoveryMessages(const MqttConfig &config, const MqttTopics &topics);

/// Those of \a now, and empty ones that take back what \a before had and \a now has not.
std::vector<MqttMessage> discoveryChange(const MqttConfig &config, const MqttTopics &before,
                                         const MqttTopics &now);

} // namespace kvgateway
