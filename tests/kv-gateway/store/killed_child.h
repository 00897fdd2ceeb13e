// SPDX-License-Identifier: MIT
// A process that tells what it has done, until it is killed in the middle of it.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace kvgateway
{

template <typename Record>
struct KilledChild {
    std::vector<Record> told;
    std::chrono::steady_clock::time_point killedAt;
};

/// \param live runs in the child, writes each record to the descriptor that it is given, and does
///             not return
template <typename Record>
KilledChild<Record> killAfter(std::chrono::microseconds life, const std::function<void(int out)> &live)
{
    int pipe[2];
    EXPECT_EQ(::pipe(pipe), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(pipe[0]);
        live(pipe[1]);
        ::_exit(1);
    }
    ::close(pipe[1]);
    KilledChild<Record> killed;
    const auto end = std::chrono::steady_clock::now() + life;
    std::thread killer([&] {
        std::this_thread::sleep_until(end);
        ::kill(child, SIGKILL);
        killed.killedAt = std::chrono::steady_clock::now();
    });
    Record one{};
    while (::read(pipe[0], &one, sizeof one) == sizeof one)
        killed.told.push_back(one);
    killer.join();
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status)) << "the child ended by itself";
    ::close(pipe[0]);
    return killed;
}

} // namespace kvgateway
