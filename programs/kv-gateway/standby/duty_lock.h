// SPDX-License-Identifier: MIT
// The lock that says which gateway is on duty, as the keeper asks for it.
#pragma once

#include <QString>

namespace kvgateway
{

enum class LockAnswer : quint8 {
    Held,  ///< it is ours, and was all the time since the first such answer
    Taken, ///< somebody else has it
    Lost,  ///< nobody knows: no connection, or no answer. Ours, if it was, is gone
};

/// One thread; interrupt() from any.
class DutyLock
{
public:
    virtual ~DutyLock() = default;

    /// Connects if need be, and takes the lock if it is free.
    /// \param text of Taken: who has it; of Lost: why
    virtual LockAnswer ask(QString &text) = 0;
    /// Gives it back.
    virtual void close() = 0;
    /// Ends what is waited for, now and ever after.
    virtual void interrupt() = 0;
};

} // namespace kvgateway
