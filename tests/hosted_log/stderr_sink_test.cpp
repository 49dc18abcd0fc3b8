#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "platform/dlog.h"
#include "platform/hosted/log/levels.h"
#include "tests/hosted_log/log_world.h"

using testing::ElementsAre;
using testing::IsEmpty;
using namespace hosted::log;

namespace {

class StderrSinkTest : public LogWorld {
protected:
    StderrSinkTest() { Configure("info,stderr"); }

    // Standard error becomes what `descriptor` is; the descriptor itself is used up.
    static void Redirect(int descriptor)
    {
        dup2(descriptor, STDERR_FILENO);
        close(descriptor);
    }
};

}  // namespace

TEST_F(StderrSinkTest, WritesOneLineForARecord)
{
    EXPECT_EQ(DlogRecord(kClientModule, kWarning, "[%s:%d]state=%d(%s)", "Unit", 7, 1, "WORKING"),
              0);
    EXPECT_EQ(DlogRecord(kServerModule | kMilestoneBit, kNotice, "two\nlines\n"), 0);

    EXPECT_THAT(StderrLines(),
                ElementsAre("warning client [" + Caller() + "] [Unit:7]state=1(WORKING)",
                            "notice server milestone [" + Caller() + "] two\\nlines\\n"));
    EXPECT_THAT(SyslogCalls(), IsEmpty());
}

TEST_F(StderrSinkTest, LeavesOutWhatItsLevelsLeaveOut)
{
    EXPECT_EQ(DlogRecord(kClientModule, kDebug, "quiet"), 0);

    EXPECT_EQ(StderrText(), "");
}

TEST_F(StderrSinkTest, SurvivesAClosedStandardError)
{
    close(STDERR_FILENO);

    EXPECT_EQ(DlogRecord(kClientModule, kError, "nobody hears this"), -1);
}

TEST_F(StderrSinkTest, SurvivesAPipeWhoseReaderIsGone)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    Redirect(ends[1]);

    EXPECT_EQ(DlogRecord(kClientModule, kError, "nobody hears this"), -1);

    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

TEST_F(StderrSinkTest, LeavesAPendingSignalOfTheCallerPending)
{
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    raise(SIGPIPE);

    DlogRecord(kClientModule, kError, "x");

    sigset_t pending;
    sigset_t mask;
    sigpending(&pending);
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 1);
    EXPECT_EQ(sigismember(&mask, SIGPIPE), 1);
}

// docs/logging.md shows such a line.
TEST_F(StderrSinkTest, ReportsWhatAFullDeviceLost)
{
    const int caught = dup(STDERR_FILENO);
    Redirect(open("/dev/full", O_WRONLY));
    EXPECT_EQ(DlogRecord(kClientModule, kError, "lost"), -1);
    EXPECT_EQ(DlogRecord(kClientModule, kError, "lost as well"), -1);
    EXPECT_EQ(DlogFlush(), -1);

    Redirect(caught);
    EXPECT_EQ(DlogRecord(kClientModule, kError, "found"), 0);

    EXPECT_THAT(StderrLines(), ElementsAre("warning platform [" + Caller() +
                                               "] 2 records lost: No space left on device",
                                           "error client [" + Caller() + "] found"));
}

TEST_F(StderrSinkTest, ReportsALossAtTheNextFlush)
{
    const int caught = dup(STDERR_FILENO);
    Redirect(open("/dev/full", O_WRONLY));
    DlogRecord(kClientModule, kError, "lost");

    Redirect(caught);

    EXPECT_EQ(DlogFlush(), 0);
    EXPECT_THAT(StderrLines(), ElementsAre("warning platform [" + Caller() +
                                           "] 1 records lost: No space left on device"));
}

TEST_F(StderrSinkTest, GivesUpOnANonBlockingPipeThatStaysFull)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    const std::string chunk(4096, 'x');
    while (write(ends[1], chunk.data(), chunk.size()) > 0) {}
    Redirect(ends[1]);

    EXPECT_EQ(DlogRecord(kClientModule, kError, "no room"), -1);

    close(ends[0]);
}
