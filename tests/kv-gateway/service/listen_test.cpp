// SPDX-License-Identifier: MIT
// Where the gateway may listen: nobody is let in by mistake.
#include "service/gateway.h"

#include <gtest/gtest.h>

namespace kvgateway
{
namespace
{

struct ListenRow {
    const char *row;
    const char *address;
    bool hasTls, hasUsers, isInsecure;
    const char *hint; // empty: it may
};

class Listening : public testing::TestWithParam<ListenRow>
{
};

TEST_P(Listening, beyondThisMachineNeedsTlsAndUsers)
{
    ListenConfig listen;
    listen.address = GetParam().address;
    listen.certificate = GetParam().hasTls ? "cert.pem" : "";
    const QString problem = listenProblem(listen, GetParam().hasUsers, GetParam().isInsecure);
    EXPECT_EQ(problem.isEmpty(), std::string(GetParam().hint).empty());
    EXPECT_TRUE(problem.contains(GetParam().hint)) << problem.toStdString();
}

const ListenRow listenRows[] = {
    {"thisMachine", "127.0.0.1", false, false, false, ""},
    {"thisMachineByIpv6", "::1", false, false, false, ""},
    {"otherLoopback", "127.0.0.5", false, false, false, ""},
    {"everybody", "0.0.0.0", false, false, false, "needs TLS"},
    {"everybodyByIpv6", "::", false, true, false, "needs TLS"},
    {"oneAddress", "192.168.0.5", false, true, false, "needs TLS"},
    {"tlsAlone", "0.0.0.0", true, false, false, "kv-gateway user add"},
    {"both", "0.0.0.0", true, true, false, ""},
    {"insecure", "0.0.0.0", false, false, true, ""},
};

INSTANTIATE_TEST_SUITE_P(Rows, Listening, testing::ValuesIn(listenRows),
                         [](const auto &row) { return std::string(row.param.row); });

} // namespace
} // namespace kvgateway
