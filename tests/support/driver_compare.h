// SPDX-License-Identifier: MIT
// Compares the driver with the plain model: what both show must be alike after each call.
//
// A comparison gives "" or the first difference, which begins with the name of what differs.
#pragma once

#include "driver_model.h"

#include <Communication_Protocol.h>

#include <string>
#include <vector>

namespace model
{
// --- between Qt's types and the model's ---

RW_VAR toQt(const Var &var);
Var fromQt(const RW_VAR &qt);
Frame fromQt(const Protocol &qt);

// --- how values are shown ---

std::string inQuotes(const std::string &bytes);
std::string shown(int value);
std::string shown(const std::string &text);
std::string shown(const Var &var);
std::string shown(const Frame &frame);
std::string versus(const std::string &what, const std::string &driver, const std::string &expected);

// --- comparison ---

template <typename Value>
std::string compareValue(const std::string &name, const Value &driver, const Value &expected)
{
    return driver == expected ? "" : versus(name, shown(driver), shown(expected));
}

template <typename Value>
std::string compareList(const std::string &name, const std::vector<Value> &driver,
                        const std::vector<Value> &expected)
{
    for (std::size_t i = 0; i < driver.size() && i < expected.size(); ++i)
        if (!(driver[i] == expected[i]))
            return versus(name + " entry " + std::to_string(i), shown(driver[i]), shown(expected[i]));
    return compareValue(name + " length", int(driver.size()), int(expected.size()));
}

/// The whole driver with its settings block; debug lines and callbacks are the caller's to compare.
std::string compareDriver(const Driver &expected, const ComInfo &settings);
} // namespace model
