// SPDX-License-Identifier: MIT
#include "role.h"

#include <algorithm>
#include <iterator>

namespace kvgateway
{

namespace
{

struct Row {
    Role role;
    const char *name;
};

// clang-format off
constexpr Row rows[] = {
    {Role::Viewer,   "viewer"},
    {Role::Operator, "operator"},
    {Role::Engineer, "engineer"},
};
// clang-format on

} // namespace

QString roleName(Role role)
{
    const auto *row =
        std::find_if(std::begin(rows), std::end(rows), [&](const Row &one) { return one.role == role; });
    return row == std::end(rows) ? QString() : QString::fromLatin1(row->name);
}

std::optional<Role> roleFromName(const QString &name)
{
    const auto *row = std::find_if(std::begin(rows), std::end(rows),
                                   [&](const Row &one) { return name == QLatin1String(one.name); });
    return row == std::end(rows) ? std::nullopt : std::optional(row->role);
}

} // namespace kvgateway
