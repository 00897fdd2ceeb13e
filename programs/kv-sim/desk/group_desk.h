// SPDX-License-Identifier: MIT
// One control connection for many PLCs: "2/get DM0" is for PLC 2, "*/get DM0" for all of them.
#pragma once

#include "desk/control_desk.h"

#include <string>
#include <string_view>
#include <vector>

namespace kvsim
{

class GroupDesk
{
public:
    /// \param desks  one for each PLC, by its number; they outlive this object
    explicit GroupDesk(std::vector<ControlDesk *> desks) : m_desks(std::move(desks)) {}

    /// For all PLCs the answer is the common one, or "ok 0: ...; 1: ..." if they differ, or the
    /// first error. After an error the later PLCs are left alone. A command without a number is for
    /// the only PLC; help and stop need none.
    /// \return the answer without line end
    std::string run(std::string_view line);

private:
    std::string runAll(std::string_view command);

    std::vector<ControlDesk *> m_desks;
};

} // namespace kvsim
