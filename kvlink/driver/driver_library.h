// SPDX-License-Identifier: MIT
// The driver library: whether a file is it, and its private copies.
//
// All links get private copies, the first one too: a host that has loaded the driver for itself
// keeps its state to itself. A copy is never unloaded, since Qt may keep what a library gave it; a
// link that ends gives its copy back for the next one. So a process never has more copies than it
// had links at one time.
//
// Threads: every call may come from any thread.
#pragma once

#include "driver/driver_calls.h"
#include "driver/private_copy.h"

#include <QHash>
#include <QVector>

#include <memory>
#include <mutex>

namespace kvlink
{

/// One private copy, and the settings block that it reads for as long as it is loaded.
struct DriverCopy {
    QByteArray file; ///< which file it is a copy of; see DriverLibrary
    void *handle = nullptr;
    DriverCalls calls;
    ComInfo settings;
};

class DriverLibrary
{
public:
    explicit DriverLibrary(std::vector<CopyMaker> makers = {copyToMemory, copyToTemporaryFile});

    /// The one that all links of the process share. It lives to the end of the process.
    static DriverLibrary &shared();

    /// A copy of the library in \a file that nobody else uses: one that was given back, or a new
    /// one.
    /// \return null with a problem: a sentence that says why the library is refused
    DriverCopy *take(const QString &file, QString &problem);

    /// The copy's lists must be empty.
    void giveBack(DriverCopy *copy);

    /// Copies loaded so far.
    int loaded() const;

private:
    DriverCopy *load(const QString &file, const QByteArray &key, QString &problem);

    const std::vector<CopyMaker> m_makers;
    mutable std::mutex m_mutex; // guards all below
    std::vector<std::unique_ptr<DriverCopy>> m_all;
    QHash<QByteArray, QVector<DriverCopy *>> m_free; // by file
    QHash<QByteArray, QString> m_refused;            // by file: a refused library is loaded only once
};

} // namespace kvlink
