// SPDX-License-Identifier: MIT
// The description of the API in OpenAPI 3, from a table of what each request is for.
#include "api.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace kvgateway
{

namespace
{

struct OperationRow {
    const char *method;
    const char *path;
    const char *summary;
    const char *arguments; // of the query, separated by spaces
    const char *body;      // name of its schema; empty: none
    const char *success;   // status, type and what it is
};

// clang-format off
constexpr OperationRow operationRows[] = {
    {"get",    "/api/v1/tags",             "What tags there are.", "tags plc group offset limit", "", "200 application/json a page of tags"},
    {"get",    "/api/v1/values",           "Newest value of many tags.", "tags plc group offset limit", "", "200 application/json a page of values"},
    {"get",    "/api/v1/values/{tag}",     "Newest value of a tag.", "", "", "200 application/json the value, its quality and its time"},
    {"get",    "/api/v1/stream",           "Changes as server-sent events: hello, links, samples, beat. Last-Event-ID resumes.", "tags plc group since", "", "200 text/event-stream a stream without an end"},
    {"post",   "/api/v1/writes",           "Writes a tag and answers when the write has ended. 409: not sent. 502: the PLC refused. 504: sent, and nobody knows.", "", "Write", "200 application/json confirmed by the PLC"},
    {"post",   "/api/v1/buttons",          "Presses a push button, which must be renewed more often than every 0.5 s.", "", "Press", "201 application/json the button"},
    {"put",    "/api/v1/buttons/{button}", "Renews a button that is pressed. 410: it has ended; outcome says how.", "", "", "204 - still pressed"},
    {"delete", "/api/v1/buttons/{button}", "Releases a button. 410: it has ended; outcome says how.", "", "", "204 - being released"},
    {"get",    "/api/v1/history",          "Minimum, mean and maximum of a tag over time.", "tag from to points", "", "200 application/json points [time, min, mean, max]; null in gaps"},
    {"get",    "/api/v1/history.csv",      "Each change of tags with history.", "tags plc group from to", "", "200 text/csv rows"},
    {"get",    "/api/v1/events",           "What happened, the newest first.", "kind plc tag before limit", "", "200 application/json a page of events"},
    {"get",    "/api/v1/audit",            "Who wrote what, the newest first. Engineers only.", "who plc tag correlation before limit", "", "200 application/json a page of writes"},
    {"get",    "/api/v1/pages",            "Drawings of the plant: names and titles.", "", "", "200 application/json all drawings"},
    {"get",    "/api/v1/pages/{page}",     "A drawing, safe to be shown: plant.svg.", "", "", "200 image/svg+xml the drawing"},
    {"get",    "/api/v1/plcs",             "Links and their figures.", "", "", "200 application/json all PLCs"},
    {"get",    "/api/v1/config",           "The configuration that runs. Engineers only.", "", "", "200 application/json PLCs, shard and where the gateway listens"},
    {"post",   "/api/v1/config/reload",    "Reads the configuration again, all or nothing. Engineers only. 422: it has mistakes.", "", "", "200 application/json taken"},
    {"post",   "/api/v1/login",            "Begins a session, kept in a cookie.", "", "Login", "200 application/json name, role and CSRF token"},
    {"post",   "/api/v1/logout",           "Ends the session.", "", "", "204 - ended"},
    {"get",    "/api/v1/me",               "Who asks, and as what.", "", "", "200 application/json name and role"},
    {"get",    "/api/v1/openapi.json",     "This description.", "", "", "200 application/json OpenAPI 3"},
    {"get",    "/metrics",                 "Figures for Prometheus.", "", "", "200 text/plain metrics"},
    {"get",    "/healthz",                 "The gateway runs.", "", "", "200 application/json ok"},
    {"get",    "/readyz",                  "The gateway keeps what it should keep. 503: it does not, or it stands by.", "", "", "200 application/json ready"},
};

struct ArgumentRow {
    const char *name;
    const char *type;
    const char *text;
};

constexpr ArgumentRow argumentRows[] = {
    {"tags",        "string",  "names or patterns, separated by commas: line1.*,line2.run"},
    {"tag",         "string",  "the whole name of a tag: line1.speed"},
    {"plc",         "string",  "name of a PLC"},
    {"group",       "string",  "group of the tag file"},
    {"offset",      "integer", "the first of the page; a page names the next as 'next'"},
    {"limit",       "integer", "most on a page, up to 10000"},
    {"since",       "string",  "id of the last event, for those who cannot send Last-Event-ID"},
    {"from",        "string",  "2026-05-04T08:00:00Z; otherwise an hour ago"},
    {"to",          "string",  "2026-05-04T09:00:00Z; otherwise now"},
    {"points",      "integer", "most points, 1 to 10000"},
    {"kind",        "string",  "service, link, quality, write, reload, clock, history, access or outlet"},
    {"before",      "integer", "for the next page: 'before' of the last one"},
    {"who",         "string",  "user or token"},
    {"correlation", "string",  "names one write"},
};

struct MemberRow {
    const char *schema;
    const char *name;
    const char *type; // empty: any
    bool isRequired;
    const char *text;
};

constexpr MemberRow memberRows[] = {
    {"Write", "tag",         "string", true,  "line1.speed"},
    {"Write", "value",       "",       true,  "true, false, a number, a text, or a list of these"},
    {"Write", "expires",     "number", false, "seconds after which it is not sent any more; 5 otherwise"},
    {"Write", "correlation", "string", false, "names the write in the audit"},
    {"Press", "tag",         "string", true,  "a relay or a bit of a word"},
    {"Press", "correlation", "string", false, "names the press in the audit"},
    {"Login", "name",        "string", true,  "of a user"},
    {"Login", "password",    "string", true,  "of that user"},
};
// clang-format on

QString latin(const char *text)
{
    return QString::fromLatin1(text);
}

QJsonArray parametersOf(const OperationRow &row)
{
    QJsonArray parameters;
    const QString path = latin(row.path);
    const auto brace = path.indexOf('{');
    if (brace >= 0)
        parameters.append(QJsonObject{{"name", path.mid(brace + 1).chopped(1)},
                                      {"in", "path"},
                                      {"required", true},
                                      {"schema", QJsonObject{{"type", "string"}}}});
    const QStringList wanted = latin(row.arguments).split(' ');
    for (const ArgumentRow &argument : argumentRows) {
        if (wanted.contains(latin(argument.name)))
            parameters.append(QJsonObject{{"name", latin(argument.name)},
                                          {"in", "query"},
                                          {"description", latin(argument.text)},
                                          {"schema", QJsonObject{{"type", latin(argument.type)}}}});
    }
    return parameters;
}

QJsonObject operationJson(const OperationRow &row)
{
    const QString success = latin(row.success);
    QJsonObject answer{{"description", success.section(' ', 2)}};
    if (success.section(' ', 1, 1) != "-")
        answer["content"] = QJsonObject{{success.section(' ', 1, 1), QJsonObject()}};
    const QJsonObject problem{
        {"description", "a problem (RFC 9457): detail says what was wrong and what to do"},
        {"content",
         QJsonObject{{"application/problem+json",
                      QJsonObject{{"schema", QJsonObject{{"$ref", "#/components/schemas/Problem"}}}}}}}};
    QJsonObject operation{
        {"summary", latin(row.summary)},
        {"responses", QJsonObject{{success.section(' ', 0, 0), answer}, {"default", problem}}}};
    const QJsonArray parameters = parametersOf(row);
    if (!parameters.isEmpty())
        operation["parameters"] = parameters;
    if (*row.body != '\0') {
        const QJsonObject schema{{"$ref", "#/components/schemas/" + latin(row.body)}};
        operation["requestBody"] =
            QJsonObject{{"required", true},
                        {"content", QJsonObject{{"application/json", QJsonObject{{"schema", schema}}}}}};
    }
    return operation;
}

QJsonObject schemasJson()
{
    QJsonObject schemas;
    for (const MemberRow &row : memberRows) {
        QJsonObject schema =
            schemas.value(latin(row.schema)).toObject({{"type", "object"}, {"additionalProperties", false}});
        QJsonObject properties = schema.value("properties").toObject();
        QJsonObject member{{"description", latin(row.text)}};
        if (*row.type != '\0')
            member["type"] = latin(row.type);
        properties[latin(row.name)] = member;
        schema["properties"] = properties;
        QJsonArray required = schema.value("required").toArray();
        if (row.isRequired)
            required.append(latin(row.name));
        schema["required"] = required;
        schemas[latin(row.schema)] = schema;
    }
    QJsonObject members;
    for (const char *name : {"type", "title", "detail"})
        members[latin(name)] = QJsonObject{{"type", "string"}};
    members["status"] = QJsonObject{{"type", "integer"}};
    schemas["Problem"] = QJsonObject{{"type", "object"}, {"properties", members}};
    return schemas;
}

} // namespace

QByteArray apiDescription()
{
    QJsonObject paths;
    for (const OperationRow &row : operationRows) {
        QJsonObject path = paths.value(latin(row.path)).toObject();
        path[latin(row.method)] = operationJson(row);
        paths[latin(row.path)] = path;
    }
    const QJsonObject description{{"openapi", "3.0.3"},
                                  {"info", QJsonObject{{"title", "kv-gateway"}, {"version", KV_VERSION}}},
                                  {"paths", paths},
                                  {"components", QJsonObject{{"schemas", schemasJson()}}}};
    return QJsonDocument(description).toJson(QJsonDocument::Compact);
}

} // namespace kvgateway
