// SPDX-License-Identifier: MIT
// The driver of one link: a private copy of the driver library, driven through its 15 calls, one
// request at a time.
//
// With no retries of its own and one list entry for each request, the copy's lists and its frame
// queue are empty whenever no request is in hand: nothing abandoned can ever be sent later.
//
// Threads: one at a time makes all calls; any thread may create and destroy it.
#pragma once

#include "driver/driver.h"
#include "driver/driver_library.h"

#include <memory>

namespace kvlink
{

class LoadedDriver final : public Driver
{
public:
    /// A driver on a private copy of the library in \a path; empty: of the one that is found first.
    /// Example: load("/usr/lib/libCommunication_Protocol.so", problem).
    /// \return null with a problem: a sentence that says why the library is refused, and where it
    /// was looked for
    static std::unique_ptr<LoadedDriver> load(const QString &path, QString &problem);

    /// \a copy is one of \a library's, and is given back to it.
    LoadedDriver(DriverLibrary &library, DriverCopy *copy);
    ~LoadedDriver() override;
    LoadedDriver(const LoadedDriver &) = delete;
    LoadedDriver &operator=(const LoadedDriver &) = delete;

    void beginRead(int readArea, int firstUnit, int count) override;
    void beginWrite(const WriteUnits &write) override;
    QByteArray frame() const override { return m_frame; }
    int replyLength() const override { return m_replyLength; }
    Result answer(const QByteArray &bytes) override;
    bool ended() const override { return !m_inHand; }
    UnitBlock block(int readArea, int firstUnit, int count) const override;

    /// The copy, for tests that look at its objects.
    const DriverCopy &copy() const { return *m_copy; }

private:
    void drop();
    void fetchFrame();
    Protocol *nextFrame();
    QByteArray view(int area, const QString &first, int count) const;

    DriverLibrary &m_library;
    DriverCopy *m_copy;
    bool m_inHand = false; // a request is in the copy's lists
    QByteArray m_frame;    // of the request in hand; empty while none is
    int m_replyLength = 0;
};

} // namespace kvlink
