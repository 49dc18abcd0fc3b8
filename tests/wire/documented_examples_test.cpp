// The worked examples of docs/wire-format.md: each stands there as it is read and written here.
#include <cstdio>
#include <fstream>
#include <iterator>

#include "tests/wire/codec_test.h"
#include "tests/wire/process_manager_test.h"

namespace {

using namespace ProcMgr::Message;
using namespace ProcMgr::Serialization;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

const std::string& Document()
{
    static const std::string text = [] {
        std::ifstream file(OWNERLINK_WIRE_FORMAT);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }();
    return text;
}

// A line of its own, with an explanation behind it or none.
bool IsInTheDocument(const std::string& example)
{
    const std::string line = "\n    " + example;
    return Document().find(line + "\n") != std::string::npos ||
           Document().find(line + "  ") != std::string::npos;
}

// Bytes in groups of these lengths: "12 34  56 78".
std::string Hex(const void* bytes, const std::vector<size_t>& groups)
{
    const auto* next = static_cast<const unsigned char*>(bytes);
    std::string text;
    for (const size_t group : groups) {
        text += text.empty() ? "" : "  ";
        for (size_t i = 0; i < group; ++i) {
            char digits[4];
            std::snprintf(digits, sizeof digits, "%s%02x", i == 0 ? "" : " ", *next++);
            text += digits;
        }
    }
    return text;
}

class DocumentedExample : public ProcessManagerTest {
protected:
    // A sound record with an example of the document.
    static RequestMsg Example(const std::string& payload)
    {
        EXPECT_TRUE(IsInTheDocument(payload)) << payload;
        return RecordWith(payload);
    }
};

TEST_F(DocumentedExample, OfASystemStateIsWhatBothEndsWrite)
{
    ProcMgr::OwnerlinkRequestMsg request;
    ProcMgr::OwnerlinkResponseMsg response;

    Ownerlink::Serialization::PackSetSystemStateRequest(258, request);
    ProcMgr::SS::PackSetSystemStateResponse(true, response);

    request.timeout = 2000;
    EXPECT_TRUE(IsInTheDocument(Hex(&request, {8, 4, 4})));
    EXPECT_TRUE(IsInTheDocument("request   size 4    " + Hex(request.data, {4})));
    EXPECT_TRUE(IsInTheDocument("response  size 2    " + Hex(response.data, {2})));
    EXPECT_EQ(response.size, 2u);
}

TEST_F(DocumentedExample, OfAnApplicationChangeIsWhatIsWritten)
{
    AppInfo app;
    app.appName = "a";
    app.args = {"x", "y"};
    app.dynamicPara[1] = {"v"};
    std::vector<std::pair<unsigned int, std::string>> items;
    ProcMgr::OwnerlinkResponseMsg response;

    Ownerlink::Serialization::PackChangeAppInfoRequest({app}, items);
    ProcMgr::SS::PackChangeAppInfoResponse(true, {{"a", SUCCESS}, {"b", START_FAILED}}, response);

    ASSERT_THAT(items, SizeIs(1));
    EXPECT_TRUE(IsInTheDocument("1#" + items[0].second)) << items[0].second;
    EXPECT_TRUE(IsInTheDocument(TextOf(response))) << TextOf(response);
}

TEST_F(DocumentedExample, OfAVerificationIsWhatIsWritten)
{
    std::vector<ProcMgr::OwnerlinkRequestMsg> requests;

    Ownerlink::Serialization::PackVerifyRequest({{"a", 0}, {"b", 2}}, requests);

    ASSERT_THAT(requests, SizeIs(1));
    EXPECT_TRUE(IsInTheDocument(TextOf(requests[0]))) << TextOf(requests[0]);
}

TEST_F(DocumentedExample, OfAStartReadsAsItSays)
{
    const RequestMsg msg = Example("2#a#2#x#y#1#1#1#v#b#0#0#");
    std::vector<StartAppInfo> apps;

    ProcMgrUnpackStartRequest(&msg, apps, "datamaster");

    ASSERT_THAT(apps, SizeIs(2));
    EXPECT_EQ(apps[0].appName, "a");
    EXPECT_THAT(apps[0].args, ElementsAre("x", "y"));
    EXPECT_THAT(apps[0].dynamicPara, ElementsAre(Pair(1, ElementsAre("v"))));
    EXPECT_EQ(apps[1].appName, "b");
    EXPECT_THAT(apps[1].args, IsEmpty());
}

TEST_F(DocumentedExample, OfARestartByIammgrReadsAsItSays)
{
    const RequestMsg msg = Example("2#a#2#x#y#b#0#");
    std::vector<RestartAppInfo> apps;

    ProcMgrUnpackRestartRequest(&msg, apps, "iammgr");

    ASSERT_THAT(apps, SizeIs(2));
    EXPECT_THAT(apps[0].args, ElementsAre("x", "y"));
    EXPECT_THAT(apps[0].dynamicPara, IsEmpty());
    EXPECT_EQ(apps[1].appName, "b");
}

TEST_F(DocumentedExample, OfATerminationReadsAsItSays)
{
    const RequestMsg msg = Example("2#a#b#");
    std::vector<TermAppInfo> apps;

    ProcMgrUnpackTermRequest(&msg, apps);

    ASSERT_THAT(apps, SizeIs(2));
    EXPECT_EQ(apps[0].appName + apps[1].appName, "ab");
}

TEST_F(DocumentedExample, OfAnExecutionStateReadsAsItSays)
{
    const RequestMsg msg = Example("1#a#7#8#1#");
    AppExecInfo info;

    ProcMgrUnpackedAppExecInfoRequest(&msg, info);

    EXPECT_EQ(info.appName, "a");
    EXPECT_EQ(info.value0, 7u);
    EXPECT_EQ(info.value1, 8u);
    EXPECT_EQ(info.execState, AppExecState::TERMINATED);
}

TEST_F(DocumentedExample, OfABaseServiceStateReadsAsItSays)
{
    const RequestMsg msg = Example("1#2#");
    BaseServiceStateInfo info;

    ProcMgrUnpackedBaseServiceStateRequest(&msg, info);

    EXPECT_EQ(info.state, BaseServiceState::RUNNING);
}

TEST_F(DocumentedExample, OfAStartupConfigurationReadsAsItSays)
{
    const RequestMsg msg = Example("1#/etc/start#2#k1#v1#k2#v2#");
    StartupCfgInfo info;

    ProcMgrUnpackMatchDataAndPathRequest(&msg, info);

    EXPECT_EQ(info.path, "/etc/start");
    EXPECT_THAT(info.matchData, ElementsAre(Pair("k1", "v1"), Pair("k2", "v2")));
}

TEST_F(DocumentedExample, OfAnApplicationStateIsWhatIsWritten)
{
    std::vector<std::pair<unsigned int, std::string>> items;
    std::vector<RequestMsg> msgs;

    ProcMgrPackAppStateRequest({{"a", 1, 2, 3, 4}}, items);
    ProcMgrCombinePiecesMsg(RequestType{3}, items, msgs);

    ASSERT_THAT(msgs, SizeIs(1));
    EXPECT_TRUE(IsInTheDocument(PayloadOf(msgs[0]))) << PayloadOf(msgs[0]);
    EXPECT_TRUE(IsInTheDocument(Hex(&msgs[0], {4, 4, 8, 12})));
}

}  // namespace
