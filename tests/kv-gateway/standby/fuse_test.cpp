// SPDX-License-Identifier: MIT
// The kernel ends a process at its time: also one that is stopped, and not one that was let off.
#include "standby/duty_fuse.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

// On purpose without anything of Qt or the test in the child: it only has the timer.
template <typename Child>
int statusOf(const Child &child)
{
    const pid_t pid = ::fork();
    if (pid == 0) {
        child();
        ::_exit(7);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(pid, &status, 0), pid);
    return status;
}

TEST(KillFuse, endsAStoppedProcess)
{
    const int status = statusOf([] {
        KillFuse fuse;
        fuse.arm(BootClock().steady() + 50ms);
        ::raise(SIGSTOP); // nobody lets it go on
    });
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

TEST(KillFuse, endsAtOnceWhatIsLate)
{
    const int status = statusOf([] {
        KillFuse fuse;
        fuse.arm(BootClock().steady() - 1s);
        for (;;)
            ::pause();
    });
    EXPECT_TRUE(WIFSIGNALED(status));
}

TEST(KillFuse, sparesWhoWasLetOffOrIsOnTime)
{
    const int status = statusOf([] {
        KillFuse fuse;
        fuse.arm(BootClock().steady() + 1h);
        fuse.arm(BootClock().steady() + 30ms);
        fuse.disarm();
        const auto end = BootClock().steady() + 60ms;
        while (BootClock().steady() < end)
            ::usleep(1000);
    });
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

} // namespace
} // namespace kvgateway
