// The answers without a callback, to a suspend and a cancel that have overtaken each other.
#include <chrono>

#include "tests/server/server_test.h"

namespace {

using ProcMgr::CANCEL_SUSPEND;
using ProcMgr::ServerInternals;
using ProcMgr::SET_SYSTEM_STATE;
using ::testing::ElementsAre;

struct Row {
    const char* name;
    unsigned int command;
    std::string payload;
    const char* message;
};

void PrintTo(const Row& row, std::ostream* out)
{
    *out << row.name;
}

// A cancel has come at this very moment, and its suspend has not.
class ShortAnswer : public ServerTest, public ::testing::WithParamInterface<Row> {
protected:
    ShortAnswer()
    {
        platform::FreezeClock();
        server.RegSetSystemStateCallBackImpl([](int) { return true; }, kResFile);
        Send(CANCEL_SUSPEND);
        platform::ClearHistory();
    }

    static Answer Request() { return Send(GetParam().command, GetParam().payload); }
};

TEST_P(ShortAnswer, IsPackedAndLoggedBeforeAnybodyElseSeesTheState)
{
    platform::Hold("memcpy_s");
    auto answer = InBackground([] { return Request().Payload(); });
    ASSERT_TRUE(platform::WaitForHeld("memcpy_s", 1));

    auto look = InBackground([this] {
        const int state = ServerInternals::State(server);
        return std::pair(state, platform::Errors());
    });

    EXPECT_EQ(look.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    platform::StopHolding("memcpy_s");
    EXPECT_EQ(look.get(), std::pair(1, std::vector<std::string>{GetParam().message}));
    EXPECT_EQ(answer.get(), "0#");
}

TEST_P(ShortAnswer, ThatCannotBeCopiedIsEmptyAndIsLoggedBehindThat)
{
    platform::SetNext("memcpy_s", {platform::Fails(ERANGE)});

    const Answer answer = Request();

    EXPECT_EQ(answer.result, 8);
    EXPECT_EQ(answer.Size(), 0u);
    EXPECT_THAT(platform::Errors(),
                ElementsAre("PackSetSystemStateResponse failed respStr=0# respStrSize=2",
                            GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    Overtaken, ShortAnswer,
    ::testing::Values(
        Row{"Suspend", SET_SYSTEM_STATE, "258#",
            "WORKING to SUSPEND_PRE interval within 50ms, current SUSPEND_PRE is canceled."},
        Row{"Cancel", CANCEL_SUSPEND, "",
            "Groupowner receive CANCEL before SUSPEND_PRE, upcoming SUSPEND_PRE will be "
            "canceled."}),
    [](const auto& test) { return test.param.name; });

}  // namespace
