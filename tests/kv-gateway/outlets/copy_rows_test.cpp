// SPDX-License-Identifier: MIT
// Rows byte by byte, as PostgreSQL's description of the binary COPY has them.
#include "outlets/copy_rows.h"

#include <gtest/gtest.h>

namespace kvgateway
{
namespace
{

std::string hex(const QByteArray &bytes)
{
    return bytes.toHex().toStdString();
}

const std::string header = "5047434f50590aff0d0a00"
                           "00000000"
                           "00000000";

TEST(CopyRows, withoutRowsThereIsAHeaderAndATrailer)
{
    EXPECT_EQ(hex(CopyRows().finish()), header + "ffff");
}

TEST(CopyRows, aNumberHasEightColumns)
{
    OutletRow row{5, "a.x", {}};
    row.sample.value = qint64(1);
    row.sample.quality = kvlink::Quality::Good;
    row.sample.time = kvlink::WallTime(std::chrono::microseconds(946'684'800'001'999)); // 1.999 ms in 2000
    CopyRows rows;
    rows.add(7, row);
    EXPECT_EQ(hex(std::move(rows).finish()), header + "0008"
                                                      "00000004"
                                                      "00000007" // tag
                                                      "00000008"
                                                      "00000000000003e8" // 1,000 microseconds since 2000
                                                      "00000008"
                                                      "0000000000000005" // seq
                                                      "00000004"
                                                      "676f6f64" // "good"
                                                      "ffffffff" // no reason
                                                      "00000008"
                                                      "3ff0000000000000" // 1.0
                                                      "ffffffff"         // no text
                                                      "ffffffff"         // no list
                                                      "ffff");
}

TEST(CopyRows, whatIsBadHasAReasonAndNoValue)
{
    OutletRow row{1, "a.x", {}};
    row.sample.value = QString("old");
    row.sample.quality = kvlink::Quality::Bad;
    row.sample.reason = kvlink::Reason::NoLink;
    row.sample.time = kvlink::WallTime(std::chrono::seconds(946'684'799)); // a second before 2000
    CopyRows rows;
    rows.add(1, row);
    EXPECT_EQ(hex(std::move(rows).finish()), header + "0008"
                                                      "00000004"
                                                      "00000001"
                                                      "00000008"
                                                      "fffffffffff0bdc0" // -1,000,000
                                                      "00000008"
                                                      "0000000000000001"
                                                      "00000003"
                                                      "626164" // "bad"
                                                      "00000007"
                                                      "6e6f206c696e6b" // "no link"
                                                      "ffffffff"
                                                      "ffffffff"
                                                      "ffffffff"
                                                      "ffff");
}

} // namespace
} // namespace kvgateway
