// SPDX-License-Identifier: MIT
#include "engine/queries.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

std::string text(const QueryResult &result)
{
    return std::to_string(result.id) + (result.answered ? " answered " : " failed ") +
           (result.answer + QLatin1Char('|') + result.problem).toStdString();
}

std::vector<std::string> texts(Queries &queries)
{
    std::vector<std::string> all;
    for (const QueryResult &result : queries.results())
        all.push_back(text(result));
    queries.results().clear();
    return all;
}

using Texts = std::vector<std::string>;

TEST(Queries, EndInTheOrderInWhichTheyWereAsked)
{
    Queries queries;
    EXPECT_TRUE(queries.isEmpty());
    queries.add(1, "?K");
    queries.add(2, "?M");
    queries.add(3, "?E");
    EXPECT_EQ(queries.first(), "?K");
    queries.firstAnswered("57\r\n");
    EXPECT_EQ(queries.first(), "?M");
    queries.firstAnswered("E1\r\n"); // an answer, too
    EXPECT_EQ(queries.first(), "?E");
    queries.firstFailed(QStringLiteral("no answer"));
    EXPECT_TRUE(queries.isEmpty());
    EXPECT_EQ(texts(queries), (Texts{"1 answered 57|", "2 answered E1|", "3 failed |no answer"}));
}

TEST(Queries, OfAnotherKindFailAtOnce)
{
    Queries queries;
    for (const char *command : {"", "K", "?", "?k", "?K ", "M0", "RDS DM0"})
        queries.add(7, command);
    EXPECT_TRUE(queries.isEmpty());
    EXPECT_EQ(texts(queries), Texts(7, "7 failed |only ?K, ?M and ?E can be asked"));
}

TEST(Queries, AllFailWithTheLink)
{
    Queries queries;
    queries.failAll(QStringLiteral("none waits"));
    queries.add(1, "?K");
    queries.add(2, "?M");
    queries.failAll(QStringLiteral("the link was stopped"));
    EXPECT_TRUE(queries.isEmpty());
    EXPECT_EQ(texts(queries), (Texts{"1 failed |the link was stopped", "2 failed |the link was stopped"}));
}

} // namespace
} // namespace kvlink
