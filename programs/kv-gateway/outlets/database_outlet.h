// SPDX-License-Identifier: MIT
// Rows to a database, in batches, in a thread of its own.
//
//     offered --> queue --> batch --> written --> acknowledged
//                   ^          |
//                   +----------+  refused: half as many; a row that is refused alone is dropped
//
// A connection that is lost takes the queue with it: the feeder has all that was not acknowledged.
#pragma once

#include "sample_writer.h"

#include <chrono>
#include <memory>
#include <thread>

namespace kvgateway
{

/// As it is for a real database. Tests are in more of a hurry.
struct DatabaseTiming {
    std::chrono::milliseconds gather{50};         ///< the first row of a batch waits for others so long
    std::chrono::milliseconds look{1000};         ///< between two looks whether an idle connection is there
    std::chrono::milliseconds firstBackOff{1000}; ///< between two attempts to connect; doubles each time
    std::chrono::milliseconds longestBackOff{30'000};
};

class DatabaseOutlet : public Outlet
{
public:
    static constexpr std::size_t window = 20'000;      ///< most rows without acknowledgement
    static constexpr std::size_t largestBatch = 5'000; ///< rows in one transaction

    explicit DatabaseOutlet(std::shared_ptr<SampleWriter> writer, DatabaseTiming timing = {});
    ~DatabaseOutlet() override;
    DatabaseOutlet(const DatabaseOutlet &) = delete;
    DatabaseOutlet &operator=(const DatabaseOutlet &) = delete;

    void start(OutletEvents &events) override;
    void stop() override;
    std::size_t offer(const std::vector<OutletRow> &rows, OfferKind kind) override;
    OutletState state() const override;
    void setTags(const std::vector<TagConfig> &tags) override;

private:
    class Work;

    const std::shared_ptr<Work> m_work; ///< what is shared with the thread, which may outlive us
    std::thread m_thread;
};

} // namespace kvgateway
