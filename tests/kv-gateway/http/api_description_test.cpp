// SPDX-License-Identifier: MIT
// The description of the API names what the API serves, no more and no less.
#include "http/api.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

#include <set>

namespace kvgateway
{
namespace
{

QJsonObject description()
{
    return QJsonDocument::fromJson(apiDescription()).object();
}

TEST(ApiDescription, namesEachRouteOnce)
{
    std::set<std::string> described, served;
    const QJsonObject paths = description()["paths"].toObject();
    for (auto path = paths.begin(); path != paths.end(); ++path) {
        for (const QString &method : path->toObject().keys())
            described.insert(method.toUpper().toStdString() + " " + path.key().toStdString());
    }
    for (const RouteName &route : Api::routes())
        EXPECT_TRUE(served.insert((route.method + " " + route.path.toLatin1()).toStdString()).second);
    EXPECT_EQ(described, served);
}

TEST(ApiDescription, eachReferenceLeadsSomewhere)
{
    const QJsonObject schemas = description()["components"].toObject()["schemas"].toObject();
    const QByteArray text = apiDescription();
    constexpr char begin[] = "\"#/components/schemas/";
    int count = 0;
    for (auto at = text.indexOf(begin); at >= 0; at = text.indexOf(begin, at + 1)) {
        const auto from = at + int(sizeof begin) - 1;
        const QString name = QString::fromLatin1(text.mid(from, text.indexOf('"', from) - from));
        EXPECT_TRUE(schemas.contains(name)) << name.toStdString();
        ++count;
    }
    EXPECT_GT(count, 20);
}

TEST(ApiDescription, eachArgumentIsExplained)
{
    const QJsonObject paths = description()["paths"].toObject();
    const QJsonArray parameters =
        paths["/api/v1/history"].toObject()["get"].toObject()["parameters"].toArray();
    ASSERT_EQ(parameters.size(), 4) << "tag, from, to, points";
    for (const auto &one : parameters)
        EXPECT_FALSE(one.toObject()["description"].toString().isEmpty());
}

} // namespace
} // namespace kvgateway
