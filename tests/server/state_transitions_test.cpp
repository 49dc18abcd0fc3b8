// Which states and cancels reach the owner, and what is remembered of them.
#include <chrono>

#include "tests/server/server_test.h"

namespace {

using ProcMgr::CANCEL_SUSPEND;
using ProcMgr::ServerInternals;
using ProcMgr::SET_SYSTEM_STATE;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using namespace std::chrono_literals;

constexpr char kDropped[] =
    "WORKING to SUSPEND_PRE interval within 50ms, current SUSPEND_PRE is canceled.";
constexpr char kEarlyCancel[] =
    "Groupowner receive CANCEL before SUSPEND_PRE, upcoming SUSPEND_PRE will be canceled.";

// A server with both callbacks that accept, and a clock that stands.
class StateTest : public ServerTest {
protected:
    StateTest()
    {
        platform::FreezeClock();
        server.RegSetSystemStateTimeoutCallBackImpl(
            [this](int state, int timeOut) { return Note("state", state, timeOut); }, kResFile);
        server.RegSsCancelSuspendPreCallBackImpl(
            [this](int state, int timeOut) { return Note("cancel", state, timeOut); }, kResFile);
        platform::ClearHistory();
    }

    bool Note(const char* callback, int state, int timeOut)
    {
        ran.push_back(callback + (" " + std::to_string(state)) + " " + std::to_string(timeOut));
        return true;
    }

    static std::string State(int state)
    {
        return Send(SET_SYSTEM_STATE, std::to_string(state) + "#", 70).Payload();
    }
    static std::string Cancel() { return Send(CANCEL_SUSPEND, "1#", 80).Payload(); }

    // Sends a cancel at the present time and sets the rest as it is wanted.
    void Arrange(int state, bool isPending)
    {
        Cancel();
        ServerInternals::Put(server, state, isPending);
        platform::ClearHistory();
        ran.clear();
    }

    std::vector<std::string> ran;
};

// One row of the table of transitions. `since` is the time since the last cancel.
struct Transition {
    const char* name;
    unsigned int command;
    std::vector<int> sent;
    std::vector<int> before;
    std::vector<bool> pending;
    std::vector<std::chrono::nanoseconds> since;

    const char* answer;
    const char* callback;  // null if none runs
    bool isStateKept;      // else it becomes 1
    bool isPendingAfter;
};

void PrintTo(const Transition& row, std::ostream* out)
{
    *out << row.name;
}

const std::vector<int> kAnyState = {-1, 0, 1, 2, 3, 4, 5, 257, 258, 2147483647};
const std::vector<int> kNotSuspendPre = {-1, 0, 1, 2, 3, 4, 5, 257, 259, 2147483647};
const std::vector<std::chrono::nanoseconds> kInside = {0ns, 10ms, 50ms, 50900us, 50999999ns};
const std::vector<std::chrono::nanoseconds> kOutside = {51ms, 60ms, 1h};
const std::vector<std::chrono::nanoseconds> kAnyTime = {0ns, 50999999ns, 51ms, 1h};

class StateTransition : public StateTest, public ::testing::WithParamInterface<Transition> {
protected:
    template <typename Check>
    void ForEach(const Check& check)
    {
        for (const int sent : GetParam().sent) {
            for (const int before : GetParam().before) {
                for (const bool isPending : GetParam().pending) {
                    for (const auto since : GetParam().since) {
                        SCOPED_TRACE(testing::Message() << before << " then " << sent << " after "
                                                        << since.count() << " ns, " << isPending);
                        Arrange(before, isPending);
                        platform::AdvanceClock(since);
                        check(sent);
                    }
                }
            }
        }
    }

    std::vector<std::string> Callbacks(int sent) const
    {
        if (GetParam().callback == nullptr) {
            return {};
        }
        const bool isState = GetParam().command == SET_SYSTEM_STATE;
        return {GetParam().callback + (isState ? " " + std::to_string(sent) + " 70" : " 1 80")};
    }
};

TEST_P(StateTransition, GoesByTheTable)
{
    ForEach([this](int sent) {
        EXPECT_EQ(GetParam().command == CANCEL_SUSPEND ? Cancel() : State(sent), GetParam().answer);

        EXPECT_THAT(ran, ElementsAreArray(Callbacks(sent)));
        EXPECT_EQ(ServerInternals::State(server), GetParam().isStateKept ? sent : 1);
        EXPECT_EQ(ServerInternals::IsCancelPending(server), GetParam().isPendingAfter);
    });
}

INSTANTIATE_TEST_SUITE_P(OfTheTable, StateTransition,
                         ::testing::Values(Transition{"SuspendPreInsideIsDropped",
                                                      SET_SYSTEM_STATE,
                                                      {258},
                                                      kAnyState,
                                                      {true},
                                                      kInside,
                                                      "0#",
                                                      nullptr,
                                                      false,
                                                      false},
                                           Transition{"SuspendPreOutsideGoesThrough",
                                                      SET_SYSTEM_STATE,
                                                      {258},
                                                      kAnyState,
                                                      {true},
                                                      kOutside,
                                                      "1#",
                                                      "state",
                                                      true,
                                                      false},
                                           Transition{"SuspendPreWithoutCancelGoesThrough",
                                                      SET_SYSTEM_STATE,
                                                      {258},
                                                      kAnyState,
                                                      {false},
                                                      kAnyTime,
                                                      "1#",
                                                      "state",
                                                      true,
                                                      false},
                                           Transition{"OtherStateInsideLeavesTheMark",
                                                      SET_SYSTEM_STATE,
                                                      kNotSuspendPre,
                                                      kAnyState,
                                                      {true},
                                                      kInside,
                                                      "1#",
                                                      "state",
                                                      true,
                                                      true},
                                           Transition{"OtherStateOutsideTakesTheMark",
                                                      SET_SYSTEM_STATE,
                                                      kNotSuspendPre,
                                                      kAnyState,
                                                      {true},
                                                      kOutside,
                                                      "1#",
                                                      "state",
                                                      true,
                                                      false},
                                           Transition{"OtherStateWithoutCancelGoesThrough",
                                                      SET_SYSTEM_STATE,
                                                      kNotSuspendPre,
                                                      kAnyState,
                                                      {false},
                                                      kAnyTime,
                                                      "1#",
                                                      "state",
                                                      true,
                                                      false},
                                           Transition{"CancelOfSuspendPreReachesTheOwner",
                                                      CANCEL_SUSPEND,
                                                      {258},
                                                      {258},
                                                      {false, true},
                                                      kAnyTime,
                                                      "1#",
                                                      "cancel",
                                                      false,
                                                      true},
                                           Transition{"CancelOfAnyOtherStateDoesNot",
                                                      CANCEL_SUSPEND,
                                                      {258},
                                                      kNotSuspendPre,
                                                      {false, true},
                                                      kAnyTime,
                                                      "0#",
                                                      nullptr,
                                                      false,
                                                      true}),
                         [](const auto& test) { return test.param.name; });

TEST_F(StateTest, BeginsInStateOffWithoutACancel)
{
    EXPECT_EQ(ServerInternals::State(server), 0);
    EXPECT_FALSE(ServerInternals::IsCancelPending(server));
}

TEST_F(StateTest, DropsASuspendPreTenMillisecondsAfterACancel)
{
    State(1);
    platform::ClearHistory();
    ran.clear();

    EXPECT_EQ(Cancel(), "0#");
    platform::AdvanceClock(10ms);
    EXPECT_EQ(State(258), "0#");

    EXPECT_THAT(ran, IsEmpty());
    EXPECT_THAT(platform::Records(),
                ElementsAre(Error(kEarlyCancel),
                            CodecInfo("UnPackSetSystemStateRequest ssMsgStr=258#, state=-1()"),
                            Error(kDropped)));
    EXPECT_EQ(ServerInternals::State(server), 1);
}

TEST_F(StateTest, TakesASuspendPreSixtyMillisecondsAfterACancel)
{
    State(1);
    ran.clear();

    EXPECT_EQ(Cancel(), "0#");
    platform::AdvanceClock(60ms);
    EXPECT_EQ(State(258), "1#");

    EXPECT_THAT(ran, ElementsAre("state 258 70"));
}

TEST_F(StateTest, DropsTheSecondSuspendPreAfterACancelOfTheFirst)
{
    EXPECT_EQ(State(258), "1#");
    EXPECT_EQ(Cancel(), "1#");
    platform::AdvanceClock(50ms);
    EXPECT_EQ(State(258), "0#");

    EXPECT_THAT(ran, ElementsAre("state 258 70", "cancel 1 80"));
    EXPECT_EQ(ServerInternals::State(server), 1);
}

TEST_F(StateTest, TakesTheThirdSuspendPreAfterTheSecondWasDropped)
{
    Cancel();
    EXPECT_EQ(State(258), "0#");

    EXPECT_EQ(State(258), "1#");

    EXPECT_THAT(ran, ElementsAre("state 258 70"));
}

TEST_F(StateTest, WorkingInsideTheIntervalDoesNotEndIt)
{
    Cancel();
    platform::AdvanceClock(20ms);
    EXPECT_EQ(State(1), "1#");
    platform::AdvanceClock(30ms);

    EXPECT_EQ(State(258), "0#");

    EXPECT_THAT(ran, ElementsAre("state 1 70"));
}

TEST_F(StateTest, WorkingAnHourLaterEndsTheInterval)
{
    Cancel();
    platform::AdvanceClock(1h);
    EXPECT_TRUE(ServerInternals::IsCancelPending(server));

    EXPECT_EQ(State(1), "1#");
    EXPECT_FALSE(ServerInternals::IsCancelPending(server));
    EXPECT_EQ(State(258), "1#");

    EXPECT_THAT(ran, ElementsAre("state 1 70", "state 258 70"));
}

TEST_F(StateTest, SecondCancelRestartsTheInterval)
{
    Cancel();
    platform::AdvanceClock(40ms);
    Cancel();
    platform::AdvanceClock(40ms);

    EXPECT_EQ(State(258), "0#");
}

// The time is taken as a signed number of 32 bits, which wraps after 24.8 days.
TEST_F(StateTest, MillisecondsSinceTheCancelWrapAsASignedNumber)
{
    struct Wrap {
        std::chrono::nanoseconds since;
        bool isInside;
    };
    constexpr int64_t kWholeTurn = int64_t{1} << 32;
    const std::vector<Wrap> wraps = {
        {std::chrono::milliseconds(kWholeTurn / 2 - 1), false},
        {std::chrono::milliseconds(kWholeTurn / 2), true},
        {std::chrono::milliseconds(kWholeTurn - 1), true},
        {std::chrono::milliseconds(kWholeTurn), true},
        {std::chrono::milliseconds(kWholeTurn + 50) + 999999ns, true},
        {std::chrono::milliseconds(kWholeTurn + 51), false},
        {-10ms, true},
    };
    for (const Wrap& wrap : wraps) {
        SCOPED_TRACE(wrap.since.count());
        Arrange(1, true);
        platform::AdvanceClock(wrap.since);

        EXPECT_EQ(State(258), wrap.isInside ? "0#" : "1#");
    }
}

TEST_F(StateTest, LooksAtTheClockOnlyForAPendingCancel)
{
    State(1);
    EXPECT_THAT(platform::Calls("steady_clock::now"), IsEmpty());

    Cancel();
    EXPECT_EQ(platform::Calls("steady_clock::now").size(), 1u);

    State(2);
    EXPECT_EQ(platform::Calls("steady_clock::now").size(), 2u);
}

TEST_F(StateTest, LogsTheTwoShortAnswersToSyslogToo)
{
    server.EnableSyslog();
    Cancel();
    State(258);

    EXPECT_THAT(
        platform::Records(),
        ElementsAre(SyslogRecord(LOG_ERR, kEarlyCancel),
                    SyslogRecord(LOG_INFO, "UnPackSetSystemStateRequest ssMsgStr=258#, state=-1()"),
                    SyslogRecord(LOG_ERR, kDropped)));
    EXPECT_THAT(platform::LevelQueries(), IsEmpty());
}

}  // namespace
