// Verbs in the background, where there is no thread for one.
#include "tools/ctl/jobs.h"

#include <gmock/gmock.h>

#include <system_error>

#include "tests/support/no_threads.h"

using namespace ctl;

TEST(Jobs, ListNoneThatDidNotStart)
{
    testing::internal::CaptureStderr();
    Output output;
    Jobs jobs(output);
    {
        const NoThreads none;
        EXPECT_THROW(jobs.Start("watch &", true, [](const Stop&) { return kDone; }),
                     std::system_error);
    }
    jobs.Show();
    EXPECT_FALSE(jobs.Cancel(1));
    jobs.Start("query &", false, [](const Stop&) { return kPartly; });

    EXPECT_EQ(jobs.AwaitAll(), kPartly);

    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "[1] runs: watch &\n[1] did not start: watch &\n"
              "[2] runs: query &\n[2] ended with " +
                  std::to_string(kPartly) + ": query &\n");
}
