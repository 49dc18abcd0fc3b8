// The subscription to system events: made once in a process, and ended once.
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <thread>

#include "tests/client/client_internals.h"
#include "tests/client/client_test.h"

namespace {

using platform::Fails;
using platform::Gives;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kSysEvent[] = "dp:/res/pm/sys_event";

class WakeUpEvents : public ClientTest {
protected:
    std::function<void(const SysEvent&)> Collect()
    {
        return [this](const SysEvent& event) {
            states.push_back(event.state);
        };
    }

    int Deliver(const std::string& bytes) { return platform::DeliverEvent(kSysEvent, bytes); }

    std::vector<uint32_t> states;
};

TEST_F(WakeUpEvents, SubscriptionTakesTheseStepsInThisOrder)
{
    platform::SetNext("IAMFastReadAsync", {Gives(17)});

    EXPECT_TRUE(client.RegSysmonitorEventImpl(Collect()));

    EXPECT_THAT(
        platform::Timeline(),
        ElementsAre("open(dp:/res/pm/sys_event,O_RDONLY)=7",
                    "log(54,2) WakeUpEvent Open file success. resFile=dp:/res/pm/sys_event",
                    HasSubstr("IAMFastReadAsync(7"),
                    "log(16777270,1) register async fastRead. resFile=dp:/res/pm/sys_event, "
                    "ret=17"));
    EXPECT_THAT(platform::Records(), ElementsAre(Warning(HasSubstr("Open file success")),
                                                 Milestone(HasSubstr("register async fastRead"))));
}

TEST_F(WakeUpEvents, FailedRegistrationWithThePlatformShowsInTheLogAlone)
{
    platform::SetNext("IAMFastReadAsync", {{-1, EBADF, false}});

    EXPECT_TRUE(client.RegSysmonitorEventImpl(Collect()));

    EXPECT_THAT(platform::Milestones(),
                ElementsAre("register async fastRead. resFile=dp:/res/pm/sys_event, "
                            "ret=18446744073709551615"));
    EXPECT_THAT(platform::Errors(), IsEmpty());
}

TEST_F(WakeUpEvents, SecondSubscriptionIsRefusedAndKeepsTheFirstFunction)
{
    EXPECT_TRUE(client.RegSysmonitorEventImpl(Collect()));
    platform::ClearHistory();

    EXPECT_FALSE(client.RegSysmonitorEventImpl([](const SysEvent&) { ADD_FAILURE(); }));

    EXPECT_THAT(platform::Calls(), IsEmpty());
    EXPECT_THAT(platform::Records(),
                ElementsAre(Error("WakeUpEvent RegSysMonitorEventImpl has registered SysEvent "
                                  "before")));
    Deliver("1");
    EXPECT_THAT(states, ElementsAre(1u));
}

// The attempt counts from its first step on.
TEST_F(WakeUpEvents, SecondSubscriptionDuringTheOpenOfTheFirstIsRefused)
{
    platform::Hold("open");
    auto first = InBackground([this] { return client.RegSysmonitorEventImpl(Collect()); });
    ASSERT_TRUE(platform::WaitForHeld("open", 1));

    EXPECT_FALSE(client.RegSysmonitorEventImpl([](const SysEvent&) { ADD_FAILURE(); }));

    platform::StopHolding("open");
    EXPECT_TRUE(first.get());
    EXPECT_EQ(platform::AsyncReaders().size(), 1u);
}

TEST_F(WakeUpEvents, FunctionIsInPlaceBeforeThePlatformReads)
{
    platform::Hold("IAMFastReadAsync");
    auto subscription = InBackground([this] { return client.RegSysmonitorEventImpl(Collect()); });
    ASSERT_TRUE(platform::WaitForHeld("IAMFastReadAsync", 1));
    char text[] = "2";

    EXPECT_EQ(Ownerlink::ClientInternals::Deliver(text, 1), 0);

    EXPECT_THAT(states, ElementsAre(2u));
    platform::StopHolding("IAMFastReadAsync");
    EXPECT_TRUE(subscription.get());
}

TEST_F(WakeUpEvents, FailedOpenKeepsNoFunction)
{
    platform::SetNext("open", {Fails(ENOENT)});
    client.RegSysmonitorEventImpl(Collect());
    platform::ClearHistory();
    char text[] = "1";

    EXPECT_EQ(Ownerlink::ClientInternals::Deliver(text, 1), 0);

    EXPECT_THAT(states, IsEmpty());
    EXPECT_THAT(platform::Errors(),
                ElementsAre("WakeUpEvent HandleWakeupData failed, regSysmonitorEventCb_ is "
                            "nullptr"));
}

TEST_F(WakeUpEvents, FailedOpenUsesUpTheOneAttempt)
{
    platform::SetNext("open", {Fails(ENOENT)});

    EXPECT_FALSE(client.RegSysmonitorEventImpl(Collect()));

    EXPECT_THAT(platform::Calls(), ElementsAre("open(dp:/res/pm/sys_event,O_RDONLY)=-1 ENOENT"));
    EXPECT_THAT(platform::Records(),
                ElementsAre(Error("WakeUpEvent Open file failed. resFile=dp:/res/pm/sys_event "
                                  "fd=-1")));
    EXPECT_FALSE(client.RegSysmonitorEventImpl(Collect()));
    EXPECT_EQ(platform::Calls().size(), 1u);
}

TEST_F(WakeUpEvents, EndOfAFailedSubscriptionClosesItsNegativeDescriptor)
{
    platform::SetNext("open", {Gives(-7)});
    client.RegSysmonitorEventImpl(Collect());
    platform::ClearHistory();

    EXPECT_TRUE(client.UnregSysmonitorEventImpl());

    EXPECT_THAT(platform::Timeline(), ElementsAre("close(-7)=-1 EBADF", "DlogFlush()=0"));
}

TEST_F(WakeUpEvents, EndClosesTheDescriptorAndFlushes)
{
    client.RegSysmonitorEventImpl(Collect());
    platform::ClearHistory();

    EXPECT_TRUE(client.UnregSysmonitorEventImpl());

    EXPECT_THAT(platform::Timeline(), ElementsAre("close(7)=0", "DlogFlush()=0"));
}

TEST_F(WakeUpEvents, EventDuringTheCloseIsDropped)
{
    client.RegSysmonitorEventImpl(Collect());
    platform::Hold("close");
    auto end = InBackground([this] { return client.UnregSysmonitorEventImpl(); });
    ASSERT_TRUE(platform::WaitForHeld("close", 1));

    EXPECT_EQ(Deliver("1"), 0);

    EXPECT_THAT(states, IsEmpty());
    platform::StopHolding("close");
    EXPECT_TRUE(end.get());
}

// Both write the descriptor's field at the same time, whoever is last.
TEST_F(WakeUpEvents, EndDuringTheOpenOfTheSubscriptionClosesNothing)
{
    platform::Hold("open");
    platform::Hold("close");
    auto subscription = InBackground([this] { return client.RegSysmonitorEventImpl(Collect()); });
    ASSERT_TRUE(platform::WaitForHeld("open", 1));
    auto end = InBackground([this] { return client.UnregSysmonitorEventImpl(); });
    ASSERT_TRUE(platform::WaitForHeld("close", 1));
    platform::StopHolding("open");
    platform::StopHolding("close");

    EXPECT_TRUE(subscription.get());
    EXPECT_TRUE(end.get());

    EXPECT_THAT(platform::Calls("close"), ElementsAre("close(-1)=-1 EBADF"));
    EXPECT_THAT(platform::OpenDescriptors(), ElementsAre(7));
    EXPECT_EQ(platform::Calls("IAMFastReadAsync").size(), 1u);
    char text[] = "1";
    EXPECT_EQ(Ownerlink::ClientInternals::Deliver(text, 1), 0);
    EXPECT_THAT(states, IsEmpty());
}

// The flag orders nothing: ThreadSanitizer then sees the field touched by two threads that know
// nothing of each other.
TEST_F(WakeUpEvents, EndTakesTheDescriptorOfAnotherThreadsSubscription)
{
    std::atomic<bool> isSubscribed{false};
    auto end = InBackground([&] {
        while (!isSubscribed.load(std::memory_order_relaxed)) {
            std::this_thread::yield();
        }
        return client.UnregSysmonitorEventImpl();
    });
    EXPECT_TRUE(client.RegSysmonitorEventImpl(Collect()));
    isSubscribed.store(true, std::memory_order_relaxed);

    EXPECT_TRUE(end.get());

    EXPECT_THAT(platform::Calls("close"), ElementsAre("close(7)=0"));
}

TEST_F(WakeUpEvents, DescriptorThatAnEndHasClosedIsNotGivenToThePlatform)
{
    platform::Hold("DlogRecord");
    auto subscription = InBackground([this] { return client.RegSysmonitorEventImpl(Collect()); });
    ASSERT_TRUE(platform::WaitForHeld("DlogRecord", 1));

    EXPECT_TRUE(client.UnregSysmonitorEventImpl());

    platform::StopHolding("DlogRecord");
    EXPECT_TRUE(subscription.get());
    EXPECT_THAT(platform::Calls("close"), ElementsAre("close(7)=0"));
    EXPECT_THAT(platform::Calls("IAMFastReadAsync"), ElementsAre(HasSubstr("IAMFastReadAsync(-1")));
}

// A delivery that outlasts the exit still uses what the function holds.
TEST_F(WakeUpEvents, FunctionOutlivesTheExitOfTheProcess)
{
    const auto exitSubscribed = [this] {
        auto held = std::shared_ptr<int>(new int(0), [](const int* number) {
            delete number;
            ::_exit(1);
        });
        client.RegSysmonitorEventImpl([held = std::move(held)](const SysEvent&) { ++*held; });
        std::exit(0);
    };

    EXPECT_EXIT(exitSubscribed(), ::testing::ExitedWithCode(0), "");
}

// A delivery may still stand in it.
TEST_F(WakeUpEvents, EndKeepsTheFunction)
{
    const auto token = std::make_shared<int>();
    client.RegSysmonitorEventImpl([token](const SysEvent&) {});

    client.UnregSysmonitorEventImpl();

    EXPECT_EQ(token.use_count(), 2);
}

TEST_F(WakeUpEvents, SecondEndIsRefused)
{
    client.RegSysmonitorEventImpl(Collect());
    client.UnregSysmonitorEventImpl();
    platform::ClearHistory();

    EXPECT_FALSE(client.UnregSysmonitorEventImpl());

    EXPECT_THAT(platform::Calls(), IsEmpty());
    EXPECT_THAT(platform::Records(),
                ElementsAre(Error("WakeUpEvent UnregSysMonitorEventImpl has unregistered SysEvent "
                                  "before")));
}

TEST_F(WakeUpEvents, EndBeforeAnySubscriptionUsesUpTheOneEnd)
{
    EXPECT_TRUE(client.UnregSysmonitorEventImpl());

    EXPECT_THAT(platform::Timeline(), ElementsAre("close(-1)=-1 EBADF", "DlogFlush()=0"));
    EXPECT_FALSE(client.UnregSysmonitorEventImpl());
}

TEST_F(WakeUpEvents, SubscriptionBehindTheEndSucceedsAndIgnoresEveryEvent)
{
    client.UnregSysmonitorEventImpl();

    EXPECT_TRUE(client.RegSysmonitorEventImpl(Collect()));

    EXPECT_EQ(platform::AsyncReaders().size(), 1u);
    platform::ClearHistory();
    EXPECT_EQ(Deliver("2"), 0);
    EXPECT_THAT(states, IsEmpty());
    EXPECT_THAT(platform::Timeline(), IsEmpty());
}

TEST_F(WakeUpEvents, NoSubscriptionAfterASubscriptionThatEnded)
{
    client.RegSysmonitorEventImpl(Collect());
    client.UnregSysmonitorEventImpl();

    EXPECT_FALSE(client.RegSysmonitorEventImpl(Collect()));
}

TEST_F(WakeUpEvents, DeliveryInFlightBehindTheEndIsDropped)
{
    client.RegSysmonitorEventImpl(Collect());
    client.UnregSysmonitorEventImpl();
    platform::ClearHistory();

    EXPECT_EQ(Deliver("2"), 0);
    EXPECT_EQ(platform::AsyncReaders().at(0).callback(7, nullptr, 1), 0);

    EXPECT_THAT(states, IsEmpty());
    EXPECT_THAT(platform::Timeline(), IsEmpty());
}

TEST_F(WakeUpEvents, DeliveryBeforeASubscriptionIsDropped)
{
    char text[] = "2";

    EXPECT_EQ(Ownerlink::ClientInternals::Deliver(text, 1), 0);
    EXPECT_EQ(Ownerlink::ClientInternals::Deliver(nullptr, 1), 0);

    EXPECT_THAT(platform::Timeline(), IsEmpty());
}

TEST_F(WakeUpEvents, NullBufferIsReportedToThePlatform)
{
    client.RegSysmonitorEventImpl(Collect());
    platform::ClearHistory();

    EXPECT_EQ(platform::AsyncReaders().at(0).callback(7, nullptr, 3), -1);

    EXPECT_THAT(platform::Records(),
                ElementsAre(Error("WakeUpEventCallback, buf is null, count=3")));
    EXPECT_THAT(states, IsEmpty());
}

TEST_F(WakeUpEvents, SubscriptionWithoutAFunctionIsLoggedAtEachEvent)
{
    client.RegSysmonitorEventImpl({});
    platform::ClearHistory();

    EXPECT_EQ(Deliver("1"), 0);

    EXPECT_THAT(platform::Records(),
                ElementsAre(Milestone("WakeUpEvent read wake state=1(WORKING)"),
                            Error("WakeUpEvent HandleWakeupData failed, regSysmonitorEventCb_ is "
                                  "nullptr")));
}

struct EventText {
    std::string name;
    std::string bytes;
    uint32_t state;
    std::string stateText;
};

void PrintTo(const EventText& text, std::ostream* out)
{
    *out << text.name;
}

class WakeUpEventText : public WakeUpEvents, public ::testing::WithParamInterface<EventText> {};

TEST_P(WakeUpEventText, IsTheNumberThatItStartsWith)
{
    client.RegSysmonitorEventImpl(Collect());
    platform::ClearHistory();

    EXPECT_EQ(Deliver(GetParam().bytes), 0);

    EXPECT_THAT(states, ElementsAre(GetParam().state));
    EXPECT_THAT(
        platform::Records(),
        ElementsAre(Milestone("WakeUpEvent read wake state=" + std::to_string(GetParam().state) +
                              "(" + GetParam().stateText + ")")));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, WakeUpEventText,
    ::testing::Values(
        EventText{"Suspend", "2", 2, "SUSPEND"}, EventText{"Trailing", "2x", 2, "SUSPEND"},
        EventText{"NoNumber", "x", 0, "OFF"}, EventText{"Empty", "", 0, "OFF"},
        EventText{"Unknown", "256", 256, ""}, EventText{"LeadingBlanks", " \n\t1", 1, "WORKING"},
        EventText{"LeadingZeros", "0001", 1, "WORKING"}, EventText{"PlusSign", "+1", 1, "WORKING"},
        EventText{"MinusSign", "-1", 4294967295, ""}, EventText{"Hexadecimal", "0x2", 0, "OFF"},
        EventText{"NoByteOfText", std::string("2\0005", 3), 2, "SUSPEND"},
        EventText{"LongestThatIsWritten", "4294967294", 4294967294, ""},
        EventText{"SuspendPre", "258", 258, "SUSPEND_PRE"},
        EventText{"Largest", "4294967295", 4294967295, ""},
        EventText{"BeyondTheRange", "4294967296", 4294967295, ""},
        EventText{"FarBeyondTheRange", "99999999999999999999", 4294967295, ""}),
    [](const auto& test) { return test.param.name; });

TEST_F(WakeUpEvents, BytesBehindTheCountAreNotRead)
{
    client.RegSysmonitorEventImpl(Collect());
    char text[] = "25";

    EXPECT_EQ(platform::AsyncReaders().at(0).callback(7, text, 1), 0);

    EXPECT_THAT(states, ElementsAre(2u));
}

TEST_F(WakeUpEvents, EventsReachTheFunctionInOrder)
{
    client.RegSysmonitorEventImpl(Collect());

    Deliver("2");
    Deliver("1");

    EXPECT_THAT(states, ElementsAre(2u, 1u));
}

}  // namespace
