// SPDX-License-Identifier: MIT
// One configuration for several machines: each [[shard]] says which PLCs one of them has.
//
//     [[shard]]
//     name = "hall-a"
//     plcs = ["line1", "press*"]
#pragma once

#include "config.h"
#include "toml_section.h"

namespace kvgateway
{

/// PLCs that one service may have.
constexpr int mostPlcs = 256;

/// Reads one [[shard]] and notes its name in the PLCs that it has.
/// \param sofar what was read before: all PLCs, and other shards
void readShard(TomlSection from, Config &sofar);
/// After the last [[shard]]: notes the PLCs that none of them has.
void refuseLonePlcs(TomlSection &top, const Config &config);

/// Leaves in \a config what runs on one machine: the PLCs of its shard, and its own
/// names at brokers.
/// \param name of the shard; empty: the configuration has none
/// \return false with a problem, and nothing was changed
bool chooseShard(Config &config, const QString &name, QString &problem);

/// Refuses a name at a broker that the gateways of all shards would have, or that speaks of a shard
/// where there is none.
void checkShard(TomlSection &from, const char *key, const QString &pattern, bool hasShards);

/// What {shard} stands for, filled in.
QString filledShard(QString pattern, const QString &shard);

} // namespace kvgateway
