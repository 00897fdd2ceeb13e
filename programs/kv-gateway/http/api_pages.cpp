// SPDX-License-Identifier: MIT
// Drawings of the plant, from the configuration that runs: a request never names a file.
#include "api.h"

#include <QJsonArray>

#include <algorithm>

namespace kvgateway
{

void Api::getPages(const CallPtr &call)
{
    onPlant([this, call] {
        QJsonArray pages;
        for (const Drawing &page : m_parts.config().pages)
            pages.append(
                QJsonObject{{QStringLiteral("name"), page.name}, {QStringLiteral("title"), page.title}});
        call->reply->send(jsonResponse({{QStringLiteral("pages"), pages}}));
    });
}

void Api::getPage(const CallPtr &call)
{
    onPlant([this, call] {
        const std::vector<Drawing> &pages = m_parts.config().pages;
        const auto page = std::find_if(pages.begin(), pages.end(),
                                       [&](const Drawing &one) { return one.name + ".svg" == call->rest; });
        if (page == pages.end())
            return call->reply->send(problemResponse(
                404, QStringLiteral("there is no drawing \"%1\"; /api/v1/pages lists them").arg(call->rest)));
        Response response;
        response.contentType = "image/svg+xml; charset=utf-8";
        response.body = page->svg;
        call->reply->send(std::move(response));
    });
}

} // namespace kvgateway
