// A variable that somebody wants: a place in the PLC, with a name and a scale if it comes from a tag file.
#pragma once

#include "values.h"

namespace kvhost
{

struct Variable {
    QString name; ///< of the tag; empty: the address is its name
    Address address;
    double scale = 1.0;
    double offset = 0.0;
    QString unit;
    bool writable = true;
    double deadband = 0.0; ///< smaller changes are not reported
    QString comment;

    bool scaled() const { return scale != 1.0 || offset != 0.0; }
    /// Name of value i: the tag's, with [i] behind it if there are several, or the address.
    QString nameOf(int i) const;
    /// As shown: scaled if there is a scale.
    QString shownValue(const Value &value) const;
    double number(const Value &value) const { return value.number() * scale + offset; }
};

} // namespace kvhost
