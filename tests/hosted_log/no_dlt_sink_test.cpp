#include <gtest/gtest.h>

#include <cerrno>

#include "platform/hosted/log/dlt_sink.h"

using namespace hosted::log;

TEST(NoDltSink, SaysThatTheBuildHasNone)
{
    const auto sink = MakeDltSink("");
    const Origin origin = OriginOfCaller();

    EXPECT_EQ(sink->Probe(), ENOTSUP);
    EXPECT_EQ(sink->Write(Line({kClientModule, kError, "x"}, origin)), ENOTSUP);
}
