// SPDX-License-Identifier: MIT
// Tags, values and the stream of changes: from the table, in the thread of the server.
#include "api.h"
#include "arguments.h"
#include "event_stream.h"

#include "text/json_text.h"

namespace kvgateway
{

namespace
{

constexpr int mostOnAPage = 10'000;
constexpr int usualPage = 1000;

struct Page {
    std::vector<int> tags;
    int total = 0;
    int next = -1; // offset of the next page; -1: there is none
};

std::optional<Page> pageOf(const Request &request, const LiveTable &table, Response &refusal)
{
    const auto offset = intArgument(request, "offset", 0, 0, std::numeric_limits<int>::max(), refusal);
    const auto limit =
        offset ? intArgument(request, "limit", usualPage, 1, mostOnAPage, refusal) : std::nullopt;
    if (!limit)
        return std::nullopt;
    const TagChoice choice = TagChoice::of(request);
    const QString unknown = choice.unknownName(table);
    if (!unknown.isEmpty()) {
        refusal = problemResponse(
            404, QStringLiteral("there is no tag \"%1\"%2").arg(unknown, nearTag(table, unknown)));
        return std::nullopt;
    }
    const std::vector<int> all = choice.indexes(table);
    Page page;
    page.total = int(all.size());
    const auto begin = std::size_t(std::min(*offset, page.total));
    const auto end = std::min(all.size(), begin + std::size_t(*limit));
    page.tags.assign(all.begin() + std::ptrdiff_t(begin), all.begin() + std::ptrdiff_t(end));
    page.next = end < all.size() ? int(end) : -1;
    return page;
}

void appendMember(QByteArray &out, const char *name, const QString &text)
{
    if (text.isEmpty())
        return;
    out += QByteArray(",\"") + name + "\":";
    appendJson(out, text);
}

void appendLimit(QByteArray &out, const char *name, const std::optional<double> &limit)
{
    if (limit) {
        out += QByteArray(",\"") + name + "\":";
        appendJson(out, kvlink::Value(*limit));
    }
}

const char *kindName(kvlink::ValueKind kind)
{
    switch (kind) {
    case kvlink::ValueKind::Bit:
        return "bit";
    case kvlink::ValueKind::Whole:
        return "whole";
    case kvlink::ValueKind::Hex:
        return "hex";
    case kvlink::ValueKind::Real:
        return "real";
    case kvlink::ValueKind::Text:
        return "text";
    }
    return "";
}

void appendSwitch(QByteArray &out, const char *name, bool isOn)
{
    out += QByteArray(",\"") + name + "\":" + (isOn ? "true" : "false");
}

QByteArray tagText(const LiveTable &table, const TableTag &tag)
{
    const kvlink::TagSettings &settings = tag.config.settings;
    QByteArray out = "{\"tag\":";
    appendJson(out, tag.config.name);
    appendMember(out, "plc", table.plcs()[std::size_t(tag.plc)]);
    appendMember(out, "address", settings.address);
    appendMember(out, "group", tag.config.group);
    appendMember(out, "unit", settings.unit);
    appendMember(out, "comment", tag.config.comment);
    out += ",\"period\":";
    appendJson(out, kvlink::Value(std::chrono::duration<double>(settings.period).count()));
    appendLimit(out, "min", tag.config.min);
    appendLimit(out, "max", tag.config.max);
    out += QByteArray(R"(,"kind":")") + kindName(tag.config.kind) + R"(","count":)" +
           QByteArray::number(tag.config.count);
    if (tag.config.digits > 0)
        out += ",\"digits\":" + QByteArray::number(tag.config.digits);
    appendSwitch(out, "writable", settings.access == kvlink::Access::ReadWrite);
    appendSwitch(out, "history", tag.config.history);
    appendSwitch(out, "confirm", tag.config.confirm);
    appendSwitch(out, "button", tag.config.button);
    return out + "}";
}

QByteArray valueText(const TableTag &tag, const kvlink::Sample &sample)
{
    QByteArray out = "{\"tag\":";
    appendJson(out, tag.config.name);
    out += ',';
    appendSample(out, sample);
    return out + "}";
}

template <typename TextOf>
Response pageResponse(const char *name, const Page &page, const TextOf &textOf)
{
    Response response;
    response.body = QByteArray("{\"") + name + "\":[";
    for (std::size_t i = 0; i < page.tags.size(); ++i)
        response.body += (i > 0 ? "," : "") + textOf(i);
    response.body += "],\"total\":" + QByteArray::number(page.total);
    if (page.next >= 0)
        response.body += ",\"next\":" + QByteArray::number(page.next);
    response.body += "}";
    return response;
}

} // namespace

void Api::getTags(const CallPtr &call)
{
    const auto table = m_parts.plant.table();
    Response refusal;
    const auto page = pageOf(call->request, *table, refusal);
    if (!page)
        return call->reply->send(std::move(refusal));
    call->reply->send(pageResponse("tags", *page, [&](std::size_t i) {
        return tagText(*table, table->tags()[std::size_t(page->tags[i])]);
    }));
}

void Api::getValues(const CallPtr &call)
{
    const auto table = m_parts.plant.table();
    Response refusal;
    const auto page = pageOf(call->request, *table, refusal);
    if (!page)
        return call->reply->send(std::move(refusal));
    const std::vector<kvlink::Sample> samples = table->samples(page->tags);
    call->reply->send(pageResponse("values", *page, [&](std::size_t i) {
        return valueText(table->tags()[std::size_t(page->tags[i])], samples[i]);
    }));
}

void Api::getValue(const CallPtr &call)
{
    const auto table = m_parts.plant.table();
    const int tag = table->find(call->rest);
    if (tag < 0)
        return call->reply->send(problemResponse(
            404, QStringLiteral("there is no tag \"%1\"%2").arg(call->rest, nearTag(*table, call->rest))));
    Response response;
    response.body = valueText(table->tags()[std::size_t(tag)], table->sample(tag));
    call->reply->send(std::move(response));
}

void Api::getStream(const CallPtr &call)
{
    const Request &request = call->request;
    QByteArray lastId = request.header("last-event-id");
    if (lastId.isEmpty())
        lastId = request.query.value(QStringLiteral("since")).toLatin1();
    // Counts as a request of the login that goes on: a page that is watched is not idle.
    const auto mayRead = [&gate = m_parts.gate, request, name = call->caller.name] {
        Response ignored;
        const auto caller = gate.identify(request, ignored);
        return caller && caller->name == name;
    };
    Response response;
    response.contentType = "text/event-stream";
    response.stream = std::make_unique<EventStream>([&plant = m_parts.plant] { return plant.table(); },
                                                    TagChoice::of(request), mayRead, lastId, m_parts.clock);
    call->reply->send(std::move(response));
}

} // namespace kvgateway
