// The client object: its two instances, its end, and the operations that reach no owner.
#include <ownerlink/enum_text.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <thread>

#include "tests/client/client_test.h"

namespace {

using Ownerlink::OwnerlinkClientImpl;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class ClientLife : public ClientTest {};

OwnerlinkClientImpl& First()
{
    return static_cast<OwnerlinkClientImpl&>(OwnerlinkClient::GetInstance());
}

OwnerlinkClientImpl& Second()
{
    return static_cast<OwnerlinkClientImpl&>(OwnerlinkClientInner::GetInstance());
}

TEST_F(ClientLife, BuildingOneDoesNothing)
{
    const OwnerlinkClientImpl other;

    EXPECT_THAT(platform::Calls(), IsEmpty());
    EXPECT_THAT(platform::Records(), IsEmpty());
    EXPECT_THAT(platform::Calls("std::thread"), IsEmpty());
}

TEST_F(ClientLife, EachInterfaceHasItsOwnInstance)
{
    EXPECT_EQ(&First(), &First());
    EXPECT_EQ(&Second(), &Second());
    EXPECT_NE(static_cast<OwnerlinkClient*>(&First()), static_cast<OwnerlinkClient*>(&Second()));
}

TEST_F(ClientLife, TimeOutOfOneInstanceIsNotTheOthers)
{
    platform::AnswerAll(Replies("1"));

    First().SetTimedOut(200);
    First().DumpGrp(DP, DATAMASTER);
    Second().DumpGrp(DP, DATAMASTER);

    EXPECT_THAT(platform::Calls("IAMResetFileConfig"),
                ElementsAre("IAMResetFileConfig(7,200)=0", "IAMResetFileConfig(7,5000)=0"));
}

TEST_F(ClientLife, InstancesHaveTablesOfTheirOwn)
{
    EXPECT_EQ(First().GetResFileName(DP, DATAMASTER), kDataMaster);
    platform::SetConfig(ConfigOf({{0, 0, "other"}}));

    EXPECT_EQ(Second().GetResFileName(DP, DATAMASTER), "other");
    EXPECT_EQ(First().GetResFileName(DP, DATAMASTER), kDataMaster);
}

TEST_F(ClientLife, InstancesShareTheSubscription)
{
    EXPECT_TRUE(First().RegSysmonitorEventImpl({}));

    EXPECT_FALSE(Second().RegSysmonitorEventImpl({}));
    EXPECT_TRUE(Second().UnregSysmonitorEventImpl());
    EXPECT_FALSE(First().UnregSysmonitorEventImpl());
}

// The guard is the object's, and only the mutex is shared.
TEST_F(ClientLife, InstancesHaveGuardsOfTheirOwn)
{
    platform::SetConfig(ConfigOf({{0, 0, kDataMaster}}));
    platform::AnswerAll(Replies("1#"));
    platform::Hold("ioctl");
    auto first = InBackground([] { return First().SetSystemState(ProcMgr::SUSPEND, 100); });
    ASSERT_TRUE(platform::WaitForHeld("ioctl", 1));
    auto second = InBackground([] { return Second().SetSystemState(ProcMgr::UPGRADE, 100); });

    EXPECT_TRUE(platform::WaitForHeld("ioctl", 2));  // while the first one waits

    platform::StopHolding("ioctl");
    EXPECT_EQ(first.get(), 0u);
    EXPECT_EQ(second.get(), 0u);
}

TEST_F(ClientLife, SuspendPreOfOneInstanceIsNotTakenBackByTheOther)
{
    platform::SetConfig(ConfigOf({{0, 0, kDataMaster}}));
    platform::AnswerAll(Replies("1#"));
    EXPECT_EQ(First().SetSystemState(ProcMgr::SUSPEND_PRE, 100), 0u);

    EXPECT_EQ(Second().SetSystemState(ProcMgr::WORKING, 100), 0u);
    EXPECT_EQ(First().SetSystemState(ProcMgr::WORKING, 100), 0u);

    EXPECT_THAT(Commands(), ElementsAre("dp:/res/dm 2", "dp:/res/dm 2", "dp:/res/dm 10"));
}

TEST_F(ClientLife, ServesASingleDomain)
{
    EXPECT_TRUE(client.IsSingleDomain());
}

TEST_F(ClientLife, LogsACoreAffinityAndSendsNothing)
{
    EXPECT_EQ(client.SetCoreAffinity({255, -3, true, 4000000000}), 0u);

    EXPECT_THAT(platform::Records(),
                ElementsAre(Milestone("SetCoreAffinity config state=255, "
                                      "checkInterval=4000000000, checkNum=-3, isWakeUpEnable=1")));
    EXPECT_THAT(platform::Calls(), ElementsAre("DlogFlush()=0"));
}

TEST_F(ClientLife, LogsACgroupAndChangesNone)
{
    EXPECT_EQ(client.SetSystemCgroup("cpu", 255, false), 0u);

    EXPECT_THAT(platform::Records(),
                ElementsAre(Milestone("SetSystemCgroup name=cpu, type=255, enable=0")));
    EXPECT_THAT(platform::Calls(), ElementsAre("DlogFlush()=0"));
}

TEST_F(ClientLife, FlushesBothAlsoWithTheLogOff)
{
    platform::SetLogLevels(0);

    EXPECT_EQ(client.SetCoreAffinity({}), 0u);
    EXPECT_EQ(client.SetSystemCgroup("", 0, true), 0u);

    EXPECT_THAT(platform::Timeline(), ElementsAre("DlogFlush()=0", "DlogFlush()=0"));
    const platform::LevelQuery marked{kClientModule | kMilestoneBit, 1};
    EXPECT_THAT(platform::LevelQueries(), ElementsAre(marked, marked));
}

TEST_F(ClientLife, WritesARecordOnlyAtAnAnswerOfExactly1)
{
    platform::SetLogLevels(2);

    client.SetCoreAffinity({});

    EXPECT_THAT(platform::Records(), IsEmpty());
}

// The number of an operation in the table of virtual functions, behind the two destructors.
template <typename Operation>
std::size_t SlotOf(Operation operation)
{
    uintptr_t offset = 0;
    std::memcpy(&offset, &operation, sizeof(offset));
    return offset / sizeof(void*) + 1;
}

TEST_F(ClientLife, OperationsKeepTheirSlots)
{
    EXPECT_EQ(SlotOf(&OwnerlinkClient::ChangeAppState), 3u);
    EXPECT_EQ(SlotOf(&OwnerlinkClient::SetSystemState), 4u);
    EXPECT_EQ(SlotOf(&OwnerlinkClient::SetCoreAffinity), 5u);
    EXPECT_EQ(SlotOf(&OwnerlinkClient::QueryAppState), 6u);
    EXPECT_EQ(SlotOf(&OwnerlinkClient::SetSystemCgroup), 7u);
    EXPECT_EQ(SlotOf(&OwnerlinkClient::RegSysmonitorEventImpl), 8u);
    EXPECT_EQ(SlotOf(&OwnerlinkClient::UnregSysmonitorEventImpl), 9u);
    EXPECT_EQ(SlotOf(&OwnerlinkClient::UpdateCfg), 10u);
    EXPECT_EQ(SlotOf(&OwnerlinkClient::DumpApp), 11u);
    EXPECT_EQ(SlotOf(&OwnerlinkClient::QueryAppList), 12u);
    EXPECT_EQ(SlotOf(&OwnerlinkClient::StopAllApp), 13u);
    EXPECT_EQ(SlotOf(&OwnerlinkClientInner::StopGrpApp), 14u);
    EXPECT_EQ(SlotOf(&OwnerlinkClientInner::UpdateGrpCfg), 15u);
    EXPECT_EQ(SlotOf(&OwnerlinkClientInner::DumpGrp), 16u);
}

class ClientEnd : public ClientTest {
protected:
    std::unique_ptr<OwnerlinkClientImpl> mortal = std::make_unique<OwnerlinkClientImpl>();
    std::vector<AppChangeInfo> results;
};

TEST_F(ClientEnd, OfOneThatDidNothingDoesNothing)
{
    mortal.reset();

    EXPECT_THAT(platform::Timeline(), IsEmpty());
}

TEST_F(ClientEnd, ClosesTheSubscription)
{
    mortal->RegSysmonitorEventImpl({});
    platform::ClearHistory();

    mortal.reset();

    EXPECT_THAT(platform::Timeline(), ElementsAre("close(7)=0"));
}

// The flags are the process's and the descriptor is the object's.
TEST_F(ClientEnd, ClosesNothingWhereTheOtherInstanceSubscribed)
{
    client.RegSysmonitorEventImpl({});
    platform::ClearHistory();

    mortal.reset();

    EXPECT_THAT(platform::Timeline(), ElementsAre("close(-1)=-1 EBADF"));
    EXPECT_THAT(platform::OpenDescriptors(), ElementsAre(7));
}

TEST_F(ClientEnd, ClosesNoSubscriptionThatHasEnded)
{
    mortal->RegSysmonitorEventImpl({});
    mortal->UnregSysmonitorEventImpl();
    platform::ClearHistory();

    mortal.reset();

    EXPECT_THAT(platform::Timeline(), IsEmpty());
}

TEST_F(ClientEnd, JoinsTheWatchBeforeItClosesItsDescriptors)
{
    mortal->ChangeAppState({}, results, 100);
    mortal->RegSysmonitorEventImpl({});
    ASSERT_TRUE(platform::WaitForHeld("nanosleep", 1));
    platform::ClearHistory();
    std::thread end([this] { mortal.reset(); });
    ASSERT_TRUE(platform::WaitUntil([] { return !platform::Calls("close").empty(); }));
    platform::StopHolding("nanosleep");
    end.join();

    EXPECT_THAT(platform::Timeline(),
                ElementsAre("close(10)=0", "nanosleep(50000000)",
                            "log(16777270,1) Ss check and reconnect thread exit.", "close(7)=0",
                            "close(8)=0", "close(9)=0"));
    EXPECT_THAT(platform::OpenDescriptors(), IsEmpty());
}

TEST_F(ClientEnd, IgnoresDescriptorsThatFailToClose)
{
    mortal->ChangeAppState({}, results, 100);
    platform::SetStanding("close", platform::Fails(EIO));
    platform::ClearHistory();
    platform::StopHolding("nanosleep");

    mortal.reset();

    EXPECT_THAT(platform::Calls("close"),
                ElementsAre("close(7)=-1 EIO", "close(8)=-1 EIO", "close(9)=-1 EIO"));
    EXPECT_THAT(platform::Errors(), IsEmpty());
}

}  // namespace
