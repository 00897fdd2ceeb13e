// SPDX-License-Identifier: MIT
// A variable that somebody wants: a tag of the tag file, or an address as it was typed.
#pragma once

#include <kvlink/tag.h>
#include <kvlink/text.h>

namespace kvtags
{

struct Variable {
    kvlink::AddressInfo address;
    kvlink::TagSettings settings; ///< as kvlink takes it; its name is empty for a typed address
    int station = -1;             ///< -1: the first PLC of the command line
    bool stationShown = false;    ///< as a part of the name
    QString comment;
    int line = 0;       ///< of the tag file; 0: typed
    QStringList extras; ///< cells of the further columns that the program asked for; empty: none has any

    explicit Variable(kvlink::AddressInfo place) : address(std::move(place)) {}

    bool isScaled() const { return settings.scale != 1.0 || settings.offset != 0.0; }

    /// "level", "DM100:3", "2/DM0".
    QString name() const;
    /// Of value \a i: "level[1]", "DM101", "2/DM0".
    QString nameOf(int i) const;
    /// "2/DM0": where it is, whatever its name.
    QString place() const;
    /// Value \a i as shown; empty if there is none.
    QString shown(const kvlink::Value &value, int i) const;
    /// Value \a i goes into JSON and databases as a number.
    bool isNumeric() const;
};

/// A typed address, "DM100:3" or "2/DM0".
/// \param problem what is wrong and what to write instead, the address in front; set on failure
///   only
std::optional<Variable> parseVariable(const QString &typed, QString &problem);

} // namespace kvtags
