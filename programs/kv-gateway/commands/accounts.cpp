// SPDX-License-Identifier: MIT
// `user` and `token`: who may come in. A running service sees each change at once.
#include "commands.h"

#include "access/access.h"
#include "access/read_password.h"
#include "text/time_text.h"

#include <kvlink/text.h>

#include <cstdio>
#include <functional>
#include <unistd.h>

namespace kvgateway
{

namespace
{

struct Accounts {
    Access &access;
    const CommandLine &line;
    QString problem;

    QString name() const { return line.names.value(0); }
    std::optional<Role> role()
    {
        const auto role = roleFromName(line.role);
        if (!role)
            problem = QStringLiteral("--role must be viewer, operator or engineer");
        return role;
    }
    std::optional<QString> password()
    {
        return readPassword(STDIN_FILENO, STDERR_FILENO, QStringLiteral("Password for %1").arg(name()),
                            problem);
    }
};

bool addUser(Accounts &all)
{
    const auto role = all.role();
    const auto password = role ? all.password() : std::nullopt;
    return password && all.access.addUser(all.name(), *password, *role, all.problem);
}

bool setPassword(Accounts &all)
{
    const auto password = all.password();
    return password && all.access.setPassword(all.name(), *password, all.problem);
}

bool setRole(Accounts &all)
{
    const auto role = all.role();
    return role && all.access.setRole(all.name(), *role, all.problem);
}

bool removeUser(Accounts &all)
{
    return all.access.removeUser(all.name(), all.problem);
}

bool listUsers(Accounts &all)
{
    for (const User &user : all.access.users())
        std::printf("%s\t%s\t%s\n", qUtf8Printable(user.name), qUtf8Printable(roleName(user.role)),
                    qUtf8Printable(timeText(user.created)));
    return true;
}

bool addToken(Accounts &all)
{
    const auto role = all.role();
    const auto validFor = !role || all.line.validFor.isEmpty()
                              ? std::optional<kvlink::Duration>(kvlink::Duration(0))
                              : kvlink::durationFromText(all.line.validFor, all.problem);
    const auto token =
        role && validFor ? all.access.addToken(all.name(), *role, *validFor, all.problem) : std::nullopt;
    if (token)
        std::printf("%s\n", qUtf8Printable(*token));
    return token.has_value();
}

bool removeToken(Accounts &all)
{
    return all.access.removeToken(all.name(), all.problem);
}

bool listTokens(Accounts &all)
{
    for (const Token &token : all.access.tokens())
        std::printf("%s\t%s\t%s\n", qUtf8Printable(token.name), qUtf8Printable(roleName(token.role)),
                    token.expires ? qUtf8Printable(timeText(*token.expires)) : "forever");
    return true;
}

struct AccountRow {
    const char *command;
    bool (*run)(Accounts &all);
};

// clang-format off
constexpr AccountRow accountRows[] = {
    {"user add",      addUser},
    {"user password", setPassword},
    {"user role",     setRole},
    {"user remove",   removeUser},
    {"user list",     listUsers},
    {"token add",     addToken},
    {"token remove",  removeToken},
    {"token list",    listTokens},
};
// clang-format on

} // namespace

int runAccounts(const CommandLine &line)
{
    const auto folder = dataFolder(line);
    if (!folder)
        return 1;
    AccessSettings settings;
    settings.folder = *folder;
    const MachineClock clock;
    const Argon2idHasher hasher;
    QString problem;
    const auto access = Access::open(settings, clock, hasher, problem);
    bool isDone = false;
    for (const AccountRow &row : accountRows) {
        if (!access || line.command != QLatin1String(row.command))
            continue;
        Accounts all{*access, line, {}};
        isDone = row.run(all);
        problem = all.problem;
    }
    if (!isDone)
        std::fprintf(stderr, "%s\n", qUtf8Printable(problem));
    return isDone ? 0 : 1;
}

} // namespace kvgateway
