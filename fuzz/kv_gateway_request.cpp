// SPDX-License-Identifier: MIT
// What a request claims: its host and origin, cookie, arguments and choice of tags. Lines of the
// input are the path, the arguments and the headers. Answered, or refused with a problem.
#include "http/arguments.h"
#include "http/gate.h"
#include "http/tag_choice.h"
#include "require.h"

#include <QTemporaryDir>

namespace
{

using namespace kvgateway;

class NoHash : public PasswordHasher
{
public:
    QByteArray hash(const QString & /*password*/) const override { return "x"; }
    bool matches(const QByteArray & /*hash*/, const QString & /*password*/) const override { return false; }
};

struct House {
    House()
    {
        AccessSettings settings;
        settings.folder = folder.path();
        QString problem;
        access = Access::open(settings, clock, hasher, problem);
        require(access != nullptr, "the accounts are there");
        gate = std::make_unique<Gate>(*access);
        gate->set({{QStringLiteral("panel.local")}, Role::Viewer});
        std::vector<TableTag> tags(3);
        tags[0].config.name = QStringLiteral("line1.speed");
        tags[1].config.name = QStringLiteral("line1.run");
        tags[1].config.group = QStringLiteral("drive");
        tags[2].config.name = QStringLiteral("line2.Öl");
        tags[2].plc = 1;
        table = std::make_unique<LiveTable>(
            QStringLiteral("run"), std::vector<QString>{QStringLiteral("line1"), QStringLiteral("line2")},
            std::move(tags));
    }

    QTemporaryDir folder;
    MachineClock clock;
    NoHash hasher;
    std::unique_ptr<Access> access;
    std::unique_ptr<Gate> gate;
    std::unique_ptr<LiveTable> table;
};

void requireProblem(const Response &refusal)
{
    require(refusal.status >= 400 && refusal.status < 500, "a refusal has its status");
    require(refusal.contentType == "application/problem+json" && refusal.body.contains("\"detail\""),
            "a refusal says why");
    for (const auto &[name, value] : refusal.headers)
        require(!value.contains('\n') && !value.contains('\r'), "a header is one line");
}

// "name: value" is a header, "name=value" an argument, all else the path; one that begins with '!'
// is asked for with POST, all others with GET.
Request requestOf(const QByteArray &text)
{
    Request request;
    request.peer = QStringLiteral("127.0.0.1");
    request.isLoopback = true;
    for (const QByteArray &line : text.split('\n')) {
        const auto equals = line.indexOf('=');
        const auto colon = line.indexOf(": ");
        if (colon > 0)
            request.headers.insert(line.left(colon).toLower(), line.mid(colon + 2));
        else if (equals > 0)
            request.query.insert(QString::fromUtf8(line.left(equals)),
                                 QString::fromUtf8(line.mid(equals + 1)));
        else
            request.path = QString::fromUtf8(line);
    }
    request.method = request.path.startsWith('!') ? "POST" : "GET";
    return request;
}

void judgeArguments(const Request &request, const LiveTable &table)
{
    Response refusal;
    const auto number = intArgument(request, "limit", 5, 1, 10, refusal);
    require(!number || (*number >= 1 && *number <= 10), "a number is within its limits");
    if (!number)
        requireProblem(refusal);
    const kvlink::WallTime now(std::chrono::hours(500'000));
    const auto range = rangeArgument(request, now, refusal);
    require(!range || range->from < range->to, "a range has a length");
    if (!range)
        requireProblem(refusal);
    const TagChoice choice = TagChoice::of(request);
    const std::vector<int> found = choice.indexes(table);
    for (const int tag : found)
        require(choice.takes(table, tag), "what was found was asked for");
    nearTag(table, choice.unknownName(table));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const House house;
    const Request request = requestOf(QByteArray(reinterpret_cast<const char *>(data), int(size)));
    if (const auto refusal = house.gate->refuseForeign(request))
        requireProblem(*refusal);
    Response refusal;
    const auto caller = house.gate->identify(request, refusal);
    require(!caller || caller->name == QLatin1String("local"), "nobody has a session or a token");
    if (!caller)
        requireProblem(refusal);
    judgeArguments(request, *house.table);
    return 0;
}
