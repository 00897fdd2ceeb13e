// SPDX-License-Identifier: MIT
// Bodies of requests: read as an object with known members, or refused; a value that was taken is
// shown and read back the same.
#include "http/arguments.h"
#include "require.h"

#include "text/json_text.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace
{

using namespace kvgateway;

void requireSameAgain(const kvlink::Value &value)
{
    QByteArray shown;
    appendJson(shown, value);
    const QJsonArray again = QJsonDocument::fromJson("[" + shown + "]").array();
    require(again.size() == 1, "a value is shown as JSON");
    QString problem;
    require(valueFromJson(again.at(0), problem) == value, "a value is read back the same");
    require(valueFromJson(jsonValue(value), problem) == value, "both ways of showing it agree");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Request request;
    request.body = QByteArray(reinterpret_cast<const char *>(data), int(size));
    Response refusal;
    const auto body = objectBody(request, {"tag", "value"}, refusal);
    if (!body) {
        require(refusal.status == 400 && refusal.body.contains("\"detail\""), "a refusal says why");
        return 0;
    }
    QString problem;
    const auto value = valueFromJson(body->value(QStringLiteral("value")), problem);
    require(value.has_value() == problem.isEmpty(), "a value that is refused has a reason");
    if (value)
        requireSameAgain(*value);
    return 0;
}
