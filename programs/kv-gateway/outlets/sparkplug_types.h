// SPDX-License-Identifier: MIT
// Which Sparkplug type a tag has, and its values in that type.
//
//     DM100      UInt16    DM100.D    UInt32      DM100 with a scale    Double
//     DM100.S    Int16     DM100.L    Int32       R500                  Boolean
//     DM100:10   UInt16Array          DM100.F     Float   DM100.STR:8   String
#pragma once

#include "sparkplug_payload.h"

#include "config/config.h"

namespace kvgateway
{

SparkplugType sparkplugTypeOf(const TagConfig &tag, UInt32As uint32);

/// Sets type and value of a metric: isNull where there is none.
/// \param as what carries UInt32
/// \return false: the value does not fit the type, and nothing was set. Example: 1.5 as Int16
bool setSparkplugValue(SparkplugMetric &metric, const kvlink::Value &value, SparkplugType type, UInt32As as);

/// The value of a command, for a tag of this type. A number is taken from int_value and long_value
/// alike, by the type that the command names, or by that of the tag.
/// \param problem why it does not fit; set on failure only
std::optional<kvlink::Value> valueOfCommand(const SparkplugMetric &metric, SparkplugType type,
                                            QString &problem);

/// "Int16", "UInt32Array"; "type 99" for one that no tag has.
QString sparkplugTypeName(SparkplugType type);

} // namespace kvgateway
