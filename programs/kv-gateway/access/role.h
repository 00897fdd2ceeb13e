// SPDX-License-Identifier: MIT
// What somebody may do.
#pragma once

#include <QString>

#include <optional>

namespace kvgateway
{

/// Each may do what those before may.
enum class Role : quint8 {
    Viewer,   ///< reads values, history, events
    Operator, ///< writes tags that allow it
    Engineer, ///< reads the audit, reloads the configuration
};

/// "viewer", "operator", "engineer".
QString roleName(Role role);
std::optional<Role> roleFromName(const QString &name);

/// Example: isAtLeast(Role::Engineer, Role::Operator) is true.
inline bool isAtLeast(Role role, Role least)
{
    return role >= least;
}

/// Who asks, once that was checked.
struct Identity {
    QString name; ///< of the user or the token
    Role role = Role::Viewer;
    bool isToken = false;
};

} // namespace kvgateway
