// SPDX-License-Identifier: MIT
// What a process holds at a moment: memory, descriptors, threads.
#pragma once

#include <QtGlobal>

#include <string>

namespace soak
{
struct ProcessSize {
    long residentKiB = 0;
    int descriptors = 0;
    int sockets = 0; ///< among the descriptors
    int threads = 0;
    std::string text() const;
};

ProcessSize sizeOf(qint64 process);
} // namespace soak
