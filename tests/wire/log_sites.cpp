#include "tests/wire/log_sites.h"

#include "tests/wire/codec_test.h"

namespace {

using namespace ProcMgr;
namespace Client = Ownerlink::Serialization;

using Items = std::vector<std::pair<unsigned int, std::string>>;

template <typename Output>
void ReadRequest(bool (*unpack)(const OwnerlinkRequestMsg*, Output&), const std::string& payload)
{
    const auto request = RequestWithText(payload);
    Output output{};
    unpack(&request, output);
}

void ReadChange(const std::string& payload)
{
    ReadRequest(SS::UnPackChangeAppInfoRequestMsg, payload);
}

void WriteChangeAnswer(const std::vector<AppChangeInfo>& apps)
{
    OwnerlinkResponseMsg response;
    SS::PackChangeAppInfoResponse(true, apps, response);
}

void WriteEmptyChangeAnswer()
{
    WriteChangeAnswer({});
}

void WriteStateAnswer()
{
    OwnerlinkResponseMsg response;
    SS::PackSetSystemStateResponse(true, response);
}

void WriteState()
{
    OwnerlinkRequestMsg request;
    Client::PackSetSystemStateRequest(2, request);
}

void ReadStateAnswer(const std::string& payload)
{
    bool verdict = false;
    Client::UnPackSetSystemStateResponse(ResponseWithText(payload), verdict);
}

void ReadChangeAnswer(const std::string& payload)
{
    bool verdict = false;
    std::map<std::string, AppChangeState> states;
    Client::UnPackChangeAppInfoResponseMsg(ResponseWithText(payload), verdict, states);
}

void WriteItem(const AppInfo& app)
{
    Items items;
    Client::PackChangeAppInfoRequest({app}, items);
}

void CombineItems(Items items)
{
    std::vector<OwnerlinkRequestMsg> records;
    Client::ProcMgrCombinePiecesMsg(items, records);
}

void CombineOneItem()
{
    CombineItems({{2, "a#"}});
}

void WriteVerify()
{
    std::vector<OwnerlinkRequestMsg> records;
    Client::PackVerifyRequest({{"a", 1}}, records);
}

template <void (*write)()>
void WithFailingCopy()
{
    platform::SetNext("memcpy_s", {platform::Fails(EINVAL)});
    write();
}

AppInfo AppOf(const std::string& name)
{
    AppInfo app;
    app.appName = name;
    return app;
}

AppInfo AppWithIndex3()
{
    AppInfo app = AppOf("a");
    app.dynamicPara[3] = {};
    return app;
}

const std::string oversized(3889, '1');
const std::string longName(3885, 'n');

SiteRecord ReadChangeRecord(const std::string& payload)
{
    return {SiteLevel::kMilestone,
            "ChangeAppState owner unpack request:" + payload + " timeout=5000 ms", "SS_SERVER"};
}

const std::string pieceHead =
    "ChangeAppState owner pack response app#(SU-0,TERM_F,START_F,RESTART_F,INIT)#: ";

std::vector<LogSite> StateSitesOfTheServer()
{
    return {
        {"StateSize",
         [] { ReadRequest(SS::UnPackSetSystemStateRequest, oversized); },
         {{SiteLevel::kError, "request size=3889 bytes is invalid"}}},
        {"State",
         [] { ReadRequest(SS::UnPackSetSystemStateRequest, "258#"); },
         {{SiteLevel::kInfo, "UnPackSetSystemStateRequest ssMsgStr=258#, state=0(OFF)"}}},
        {"StateAnswerCopy",
         WithFailingCopy<WriteStateAnswer>,
         {{SiteLevel::kError, "PackSetSystemStateResponse failed respStr=1# respStrSize=2"}}},
        {"VerifySize",
         [] { ReadRequest(SS::UnPackVerifyRequest, oversized); },
         {{SiteLevel::kError, "request size=3889 bytes is invalid"}}},
        {"VerifyCount",
         [] { ReadRequest(SS::UnPackVerifyRequest, "1025#"); },
         {{SiteLevel::kInfo, "UnPackVerifyRequest ssMsgStr=<1025#,5>"},
          {SiteLevel::kError, "UnPackVerifyRequest appInfo size=1025 > 1024"}}},
        {"Verify",
         [] { ReadRequest(SS::UnPackVerifyRequest, "1#a#0#"); },
         {{SiteLevel::kInfo, "UnPackVerifyRequest ssMsgStr=<1#a#0#,6>"},
          {SiteLevel::kInfo, "UnPackVerifyRequest appInfo size=1"}}},
    };
}

std::vector<LogSite> ChangeSitesOfTheServer()
{
    return {
        {"ChangeSize",
         [] { ReadChange(oversized); },
         {{SiteLevel::kError, "request size=3889 bytes is invalid"}}},
        {"Change", [] { ReadChange("1#a#0#0#0#"); }, {ReadChangeRecord("1#a#0#0#0#")}},
        {"ChangeCount",
         [] { ReadChange("1025#"); },
         {ReadChangeRecord("1025#"),
          {SiteLevel::kError, "ChangeAppState owner unpack request appSize=1025 > 1024"}}},
        {"ArgumentCount",
         [] { ReadChange("1#a#0#1025#"); },
         {ReadChangeRecord("1#a#0#1025#"),
          {SiteLevel::kWarning, "ChangeAppState owner unpack request argvSize=1025 > 1024"}}},
        {"ParameterCount",
         [] { ReadChange("1#a#0#0#4#"); },
         {ReadChangeRecord("1#a#0#0#4#"),
          {SiteLevel::kError,
           "ChangeAppState unpack request failed, a dynamicParaSize=4 invalid"}}},
        {"ParameterIndex",
         [] { ReadChange("1#a#0#0#1#3#"); },
         {ReadChangeRecord("1#a#0#0#1#3#"),
          {SiteLevel::kError,
           "ChangeAppState unpack request failed, a dynamicPara index=3 invalid"}}},
        {"ValueCount",
         [] { ReadChange("1#a#0#0#1#2#1025#"); },
         {ReadChangeRecord("1#a#0#0#1#2#1025#"),
          {SiteLevel::kError,
           "ChangeAppState unpack dynamicPara fail, a index=2 valueNum=1025 invalid"}}},
        {"ChangeAnswer",
         [] {
             WriteChangeAnswer({{"a", TERM_FAILED}});
         },
         {{SiteLevel::kInfo, pieceHead + "a#1#"},
          {SiteLevel::kMilestone, "ChangeAppState owner pack response:2#1#a#1#", "SS_SERVER"}}},
        {"ChangeAnswerPiece",
         [] {
             WriteChangeAnswer({{longName, SUCCESS}});
         },
         {{SiteLevel::kError,
           "ChangeAppState owner pack response failed size=3888 beyond 3888!!"}}},
        {"ChangeAnswerCopy",
         WithFailingCopy<WriteEmptyChangeAnswer>,
         {{SiteLevel::kError, "memcpy_s failed, copy respStr=1#1# respStrSize=4 failed"}}},
    };
}

std::vector<LogSite> ChangeSitesOfTheClient()
{
    const std::string itemHead =
        "ChangeAppState pack request app#(START-0,TERM,RESTART)#argSize#arg: ";
    const SiteRecord read = {SiteLevel::kMilestone, "ChangeAppState unpack response: 0#1#",
                             "SS_AGENT"};
    return {
        {"Item", [] { WriteItem(AppOf("a")); }, {{SiteLevel::kMilestone, itemHead + "a#0#0#0#"}}},
        {"ItemSize",
         [] { WriteItem(AppOf(longName)); },
         {{SiteLevel::kError, "ChangeAppState pack request failed, size=3892 beyond 3888!!"}}},
        {"ItemIndex",
         [] { WriteItem(AppWithIndex3()); },
         {{SiteLevel::kError, "ChangeAppState pack request failed, dynamicPara key=3"}}},
        {"ChangeAnswerSize",
         [] { ReadChangeAnswer(""); },
         {{SiteLevel::kError, "response size=0 bytes is invalid"}}},
        {"ChangeAnswerCount",
         [] { ReadChangeAnswer("0#1#"); },
         {read,
          {SiteLevel::kError, "ChangeAppState unpack response appSize=0, should at [1, 1024]"}}},
        {"NoItems",
         [] { CombineItems({}); },
         {{SiteLevel::kError, "ProcMgrCombinePiecesMsg failed: packedRequest is empty!!"}}},
        {"OversizedItem",
         [] {
             CombineItems({{3888, "#"}});
         },
         {{SiteLevel::kWarning, "CalculateWindows : packedRequest=3888bytes >= 3888bytes!"}}},
        {"RecordCopy",
         WithFailingCopy<CombineOneItem>,
         {{SiteLevel::kError,
           "ProcMgrCombineMsg failed memcpy_s failed: strSize=4 bytes, ret=22"}}},
    };
}

std::vector<LogSite> StateSitesOfTheClient()
{
    return {
        {"State",
         WriteState,
         {{SiteLevel::kInfo, "PackSetSystemStateRequest state=2(SUSPEND) begin"},
          {SiteLevel::kMilestone, "PackSetSystemStateRequest str=2#"}}},
        {"StateCopy",
         WithFailingCopy<WriteState>,
         {{SiteLevel::kInfo, "PackSetSystemStateRequest state=2(SUSPEND) begin"},
          {SiteLevel::kError, "PackSetSystemStateRequest memcpy_s failed, err=22"}}},
        {"StateAnswer",
         [] { ReadStateAnswer("0#"); },
         {{SiteLevel::kMilestone, "UnPackSetSystemStateResponse ssRespMsgStr=0# ret=0(FAILED)"}}},
        {"StateAnswerSize",
         [] { ReadStateAnswer(""); },
         {{SiteLevel::kError, "UnPackSetSystemStateResponse failed resp size=0 bytes"}}},
        {"Verify",
         WriteVerify,
         {{SiteLevel::kInfo, "PackVerifyRequest begin."},
          {SiteLevel::kMilestone, "ConstructVerifyRequest str=<1#a#1#,6>"}}},
        {"VerifyCopy",
         WithFailingCopy<WriteVerify>,
         {{SiteLevel::kInfo, "PackVerifyRequest begin."},
          {SiteLevel::kError, "ConstructVerifyRequest memcpy_s failed, err=22"}}},
    };
}

std::vector<LogSite> Joined(std::vector<LogSite> sites, const std::vector<LogSite>& more)
{
    sites.insert(sites.end(), more.begin(), more.end());
    return sites;
}

}  // namespace

std::vector<LogSite> ClientSites()
{
    return Joined(StateSitesOfTheClient(), ChangeSitesOfTheClient());
}

std::vector<LogSite> ServerSites()
{
    return Joined(StateSitesOfTheServer(), ChangeSitesOfTheServer());
}
