// SPDX-License-Identifier: MIT
// What all tables of test rows share: a row begins with its name, and that name names the test.
#pragma once

#include <gtest/gtest.h>

#include <string>

template <class Row>
std::string nameOfRow(const testing::TestParamInfo<Row> &info)
{
    return info.param.name;
}
