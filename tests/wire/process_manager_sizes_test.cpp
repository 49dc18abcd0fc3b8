// How much of a record each unpacker of the master reads, and what it leaves where that ends early.
#include <functional>

#include "tests/wire/process_manager_test.h"

namespace {

using namespace ProcMgr::Message;
using namespace ProcMgr::Serialization;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

std::string Described(const std::vector<std::string>& texts)
{
    std::string all;
    for (const std::string& text : texts) {
        all += text + ";";
    }
    return all;
}

template <typename Info>
std::string DescribedApps(const std::vector<Info>& apps)
{
    std::string all;
    for (const Info& app : apps) {
        all += app.appName + "[" + Described(app.args) + "]";
        for (const auto& [index, values] : app.dynamicPara) {
            all += "{" + std::to_string(index) + ":" + Described(values) + "}";
        }
        all += " ";
    }
    return all;
}

std::string Start(const RequestMsg& msg)
{
    std::vector<StartAppInfo> apps;
    ProcMgrUnpackStartRequest(&msg, apps, "datamaster");
    return DescribedApps(apps);
}

std::string Restart(const RequestMsg& msg)
{
    std::vector<RestartAppInfo> apps;
    ProcMgrUnpackRestartRequest(&msg, apps, "datamaster");
    return DescribedApps(apps);
}

std::string Terminate(const RequestMsg& msg)
{
    std::vector<TermAppInfo> apps;
    ProcMgrUnpackTermRequest(&msg, apps);
    std::string all;
    for (const TermAppInfo& app : apps) {
        all += app.appName + ";";
    }
    return all;
}

std::string ExecState(const RequestMsg& msg)
{
    AppExecInfo info = {"before", 77, 88, AppExecState{99}};
    ProcMgrUnpackedAppExecInfoRequest(&msg, info);
    return info.appName + " " + std::to_string(info.value0) + " " + std::to_string(info.value1) +
           " " + std::to_string(static_cast<uint32_t>(info.execState));
}

std::string BaseState(const RequestMsg& msg)
{
    BaseServiceStateInfo info = {BaseServiceState{99}};
    ProcMgrUnpackedBaseServiceStateRequest(&msg, info);
    return std::to_string(static_cast<uint32_t>(info.state));
}

std::string StartupCfg(const RequestMsg& msg)
{
    StartupCfgInfo info;
    info.path = "before";
    ProcMgrUnpackMatchDataAndPathRequest(&msg, info);
    std::string all = info.path;
    for (const auto& [key, value] : info.matchData) {
        all += " " + key + "=" + value;
    }
    return all;
}

struct Unpacker {
    const char* name;
    std::function<std::string(const RequestMsg&)> read;
    std::string payload;
    uint64_t cut;            // a size that ends the text inside of a field
    std::string whole;       // what the payload reads as
    std::string untilCut;    // the same of its first `cut` bytes
    std::string nothing;     // the same of none
    std::string unfinished;  // the beginning of a payload whose last field goes on to the end
};

void PrintTo(const Unpacker& unpacker, std::ostream* out)
{
    *out << unpacker.name;
}

const Unpacker kUnpackers[] = {
    {"Start", Start, "2#a#1#xy#1#1#1#v#b#0#0#", 7, "a[xy;]{1:v;} b[] ", "a[x;] [] ", "", "1#"},
    {"Restart", Restart, "2#a#1#xy#1#1#1#v#b#0#0#", 15, "a[xy;]{1:v;} b[] ", "a[xy;]{1:;} [] ", "",
     "1#"},
    {"Terminate", Terminate, "2#a#bc#", 5, "a;bc;", "a;b;", "", "1#"},
    {"ExecState", ExecState, "1#a#23#45#1#", 5, "a 23 45 1", "a 2 0 0", " 0 0 0", "1#a#1#2#"},
    {"BaseState", BaseState, "1#23#", 3, "23", "2", "0", "1#"},
    {"StartupCfg", StartupCfg, "1#p#2#a#b#cd#e#", 11, "p a=b cd=e", "p a=b c=", "", "1#p#1#k#"},
};

class RecordSize : public ProcessManagerTest, public ::testing::WithParamInterface<Unpacker> {
protected:
    static std::string ReadWithSize(const std::string& payload, uint64_t size)
    {
        RequestMsg msg = RecordWith(payload);
        msg.size = size;
        std::memcpy(&msg.reserved3980, "9999", 4);  // right behind the payload's last byte
        return GetParam().read(msg);
    }

    // A payload of 3964 bytes, whose last field is a 1 behind many zeroes.
    static std::string FullPayload()
    {
        const std::string& start = GetParam().unfinished;
        return start + std::string(3964 - start.size() - 1, '0') + "1";
    }
};

TEST_P(RecordSize, OfTheWholePayloadGivesAllOfIt)
{
    const std::string& payload = GetParam().payload;

    EXPECT_EQ(ReadWithSize(payload, payload.size()), GetParam().whole);
}

TEST_P(RecordSize, EndsTheTextThoughMoreStandsBehind)
{
    EXPECT_EQ(ReadWithSize(GetParam().payload, GetParam().cut), GetParam().untilCut);
}

TEST_P(RecordSize, OfZeroLeavesEverythingEmpty)
{
    EXPECT_EQ(ReadWithSize(GetParam().payload, 0), GetParam().nothing);
}

TEST_P(RecordSize, BeyondTheRecordCountsAsTheRecords)
{
    const std::string full = ReadWithSize(FullPayload(), 3964);

    for (const uint64_t size : {uint64_t{3965}, uint64_t{3968}, uint64_t{1} << 63, UINT64_MAX}) {
        EXPECT_EQ(ReadWithSize(FullPayload(), size), full) << size;
    }
}

TEST_P(RecordSize, IsNeverLogged)
{
    for (const uint64_t size : {uint64_t{0}, GetParam().cut, uint64_t{3964}, UINT64_MAX}) {
        ReadWithSize(FullPayload(), size);
    }

    EXPECT_THAT(platform::Records(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(All, RecordSize, ::testing::ValuesIn(kUnpackers),
                         [](const auto& test) { return test.param.name; });

TEST_F(ProcessManagerTest, CarriesNothingOverToTheApplicationsBehindAnEarlyEnd)
{
    const RequestMsg msg = RecordWith("3#a#2#x#y#1#1#2#v#w#");

    EXPECT_EQ(Start(msg), "a[x;y;]{1:v;w;} [] [] ");
    EXPECT_EQ(Restart(msg), "a[x;y;]{1:v;w;} [] [] ");
}

TEST_F(ProcessManagerTest, ReadsNothingBehindANumberThatIsNone)
{
    EXPECT_EQ(Start(RecordWith("2#a#x#0#b#0#0#")), "a[] [] ");
    EXPECT_EQ(Terminate(RecordWith("x#a#")), "");
    EXPECT_EQ(ExecState(RecordWith("x#a#1#2#1#")), " 0 0 0");
    EXPECT_EQ(BaseState(RecordWith("x#2#")), "0");
    EXPECT_EQ(StartupCfg(RecordWith("x#p#1#k#v#")), "");
}

TEST_F(ProcessManagerTest, DropsTheCountOfARecordThatHoldsOneThing)
{
    for (const std::string count : {"0#", "5#", "4294967295#"}) {
        EXPECT_EQ(ExecState(RecordWith(count + "a#1#2#1#")), "a 1 2 1");
        EXPECT_EQ(BaseState(RecordWith(count + "2#")), "2");
        EXPECT_EQ(StartupCfg(RecordWith(count + "p#1#k#v#l#w#")), "p k=v");
    }
}

TEST_F(ProcessManagerTest, LooksAtNoSeparatorBehindANumber)
{
    EXPECT_EQ(Start(RecordWith("1,a#1,x#1;-2|1/v#")), "a[x;]{-2:v;} ");
    EXPECT_EQ(ExecState(RecordWith("1,a#1;2/3|")), "a 1 2 3");
}

}  // namespace
