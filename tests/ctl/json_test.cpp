// --json: every verb's result is of the documented form and tells what the table tells.

#include <csignal>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "tests/ctl/ctl_test.h"

using Json = nlohmann::json;
using ::testing::HasSubstr;

namespace {

// What the validator says; empty: the lines are of the form.
std::string FaultsOf(const std::string& lines)
{
    const std::string file = WorldDirectory() + "/lines.json";
    std::FILE* const out = std::fopen(file.c_str(), "w");
    std::fputs(lines.c_str(), out);
    std::fclose(out);
    std::FILE* const validator =
        popen((VALIDATE_JSON " " JSON_SCHEMA " <" + file + " 2>&1").c_str(), "r");
    std::string faults;
    char buffer[512];
    while (std::fgets(buffer, sizeof buffer, validator) != nullptr) {
        faults += buffer;
    }
    const int status = pclose(validator);
    return status == 0 ? "" : "not of the form: " + faults;
}

// Runs the verb with --json and checks the form.
Json ResultOf(Words words)
{
    words.push_back("--json");
    const Ended ended = Ctl(words);
    EXPECT_EQ(FaultsOf(ended.out), "") << words.front();
    const Json json = Json::parse(ended.out);
    EXPECT_EQ(json["version"], 1);
    EXPECT_EQ(json["verb"], words.front());
    EXPECT_EQ(json["exit"], ended.code) << words.front();
    return json;
}

Json RowOf(const Json& rows, const std::string& owner)
{
    for (const Json& row : rows) {
        if (row["owner"] == owner) {
            return row;
        }
    }
    return nullptr;
}

}  // namespace

TEST_F(CtlTest, TheValidatorRefusesWhatIsNotOfTheForm)
{
    EXPECT_THAT(FaultsOf(""), HasSubstr("no object"));
    EXPECT_THAT(FaultsOf(R"({"version":2,"verb":"list"})"), HasSubstr("not of the form"));
}

TEST_F(CtlTest, JsonTellsEachOwnersOutcomeOfAState)
{
    Start(DATAMASTER);
    Start(APPMGR);
    Owner(APPMGR).Tell("always state refuse");

    const Json json = ResultOf({"set-state", "WORKING"});

    EXPECT_EQ(json["exit"], kExitPartly);
    EXPECT_EQ(json["code"], "0xF10301");
    EXPECT_EQ(RowOf(json["owners"], "DATAMASTER")["outcome"], "done");
    EXPECT_EQ(RowOf(json["owners"], "APPMGR")["outcome"], "refused");
    EXPECT_EQ(RowOf(json["owners"], "APPMGR")["resource"], ResourceOf(APPMGR));
    EXPECT_EQ(RowOf(json["owners"], "IAM")["outcome"], "not reached");
    EXPECT_EQ(RowOf(json["owners"], "IAM")["error"], "ENOENT");
}

TEST_F(CtlTest, JsonTellsEachApplicationOfAChange)
{
    Start(APPMGR);
    Owner(APPMGR).Tell("fail bad 2");

    for (const std::string verb : {"start", "stop", "restart"}) {
        const Json json = ResultOf({verb, "APPMGR/bad", "APPMGR/good", "IAM/auth"});

        EXPECT_EQ(json["code"], verb == "start" ? "0xF10303" : json["code"]);
        const Json good = {{"owner", "APPMGR"}, {"name", "good"}, {"state", "SUCCESS"},
                           {"number", 0},       {"pid", nullptr}, {"failed", false}};
        EXPECT_EQ(json["applications"][1], good);
        EXPECT_EQ(json["applications"][0]["state"], "START_FAILED");
        EXPECT_EQ(json["applications"][2]["state"], "INIT");
    }
}

TEST_F(CtlTest, JsonOfQuestionsControlsAndOwners)
{
    StartAll();
    Owner(IAM).Tell("apps auth");

    const Json query = ResultOf({"query", "nav"});
    const Json list = ResultOf({"list"});
    const Json owners = ResultOf({"owners"});

    EXPECT_EQ(RowOf(query["applications"], "IAM")["pid"], Owner(IAM).Process());
    EXPECT_EQ(RowOf(query["applications"], "IAM")["number"], 1);
    EXPECT_EQ(list["applications"][0]["name"], "auth");
    EXPECT_GT(RowOf(owners["owners"], "IAM")["milliseconds"], 0.0);
    for (const std::string verb : {"reload", "dump", "stop-all"}) {
        EXPECT_EQ(RowOf(ResultOf({verb})["owners"], "IAM")["outcome"], "skipped");
        EXPECT_EQ(ResultOf({verb, "IAM"})["code"], nullptr);
    }
}

TEST_F(CtlTest, JsonOfAWaitThatIsMetAndOfOneThatCannotBe)
{
    Start(APPMGR);

    const Json met = ResultOf({"wait", "APPMGR/nav", "--for", "terminated"});
    const Json never = ResultOf({"wait", "IAM/nav", "--for", "running", "--within", "100ms"});

    EXPECT_EQ(met["applications"][0]["state"], "TERMINATED");
    EXPECT_EQ(never["exit"], kExitTimedOut);
    EXPECT_EQ(never["applications"][0]["state"], nullptr);
}

TEST_F(CtlTest, JsonOfPlans)
{
    const Json state = ResultOf({"set-state", "OFF", "--dry-run"});
    const Json change = ResultOf({"start", "IAM/a", "IAM/b", "-n"});
    const Json reload = ResultOf({"reload", "-n"});

    EXPECT_EQ(state["plan"].size(), 3U);
    const Json record = {{"owner", "IAM"}, {"resource", ResourceOf(IAM)}, {"command", "CHANGE_APP"},
                         {"bytes", 18},    {"applications", {"a", "b"}},  {"mistake", nullptr}};
    EXPECT_EQ(change["plan"], Json::array({record}));
    EXPECT_EQ(reload["plan"].size(), 2U);
}

TEST_F(CtlTest, JsonOfAMistakenTable)
{
    WriteConfig("odd: {OsType: 1}\n");

    const Json json = ResultOf({"owners"});

    EXPECT_EQ(json["exit"], kExitNoOwner);
    EXPECT_EQ(json["mistakes"][0]["entry"], "odd");
    RemoveConfig();
    EXPECT_EQ(ResultOf({"list"})["mistakes"][0]["entry"], nullptr);
}

TEST_F(CtlTest, JsonOfADecodedRecord)
{
    const Ended ended = Ctl({"decode", "-", "--json", "-c", "SET_SYSTEM_STATE"},
                            "0400000000000000 d0070000 32353823");

    EXPECT_EQ(FaultsOf(ended.out), "");
    const Json record = Json::parse(ended.out)["record"];
    EXPECT_EQ(record["command"], "SET_SYSTEM_STATE");
    EXPECT_EQ(record["accepted"], true);
    EXPECT_EQ(record["fields"][2]["meaning"], "SUSPEND_PRE");
}

TEST_F(CtlTest, JsonOfNamesThatAreNoTextIsStillJson)
{
    Start(APPMGR);
    Owner(APPMGR).Tell("apps n\xff\x1bv");

    const Ended json = Ctl({"list", "--json"});
    const Ended table = Ctl({"list"});

    EXPECT_EQ(FaultsOf(json.out), "");
    EXPECT_THAT(table.out, HasSubstr("n\xff\\x1bv\n"));
}

TEST_F(CtlTest, JsonOfAWatchIsALineForEachChange)
{
    Start(APPMGR);
    Program watch({"watch", "--states", "--json", "--interval", "100ms"});
    ASSERT_TRUE(watch.AwaitOut("\"text\":\"not running\"}}\n"));
    Start(IAM);
    ASSERT_TRUE(watch.AwaitOut("\"answers\":true"));

    watch.Signal(SIGINT);
    const Ended ended = watch.AwaitEnd();

    EXPECT_EQ(ended.code, 128 + SIGINT);
    EXPECT_EQ(FaultsOf(ended.out), "");
}

TEST_F(CtlTest, JsonOfAShellIsALineForEachVerb)
{
    StartAll();

    const Ended ended = Ctl({"shell", "--json"}, "set-state OFF\nlist &\nreload --dry-run\n");

    EXPECT_EQ(ended.code, kExitDone) << ended.err;
    EXPECT_EQ(FaultsOf(ended.out), "");
    EXPECT_EQ(std::count(ended.out.begin(), ended.out.end(), '\n'), 3);
}
