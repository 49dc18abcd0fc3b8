// The commands without a payload: reload, dump, stop all, list.
#include <cerrno>

#include "tests/server/server_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

constexpr unsigned kReload = 3;
constexpr unsigned kList = 6;

// One of the three commands that differ in their words alone.
struct Command {
    const char* name;
    int (OwnerlinkServer::*store)(OwnerlinkServer::CommandCallBack, const std::string&);
    unsigned int number;
    const char* missing;
    const char* end;
    const char* failedCopy;
    bool showsText;
};

void PrintTo(const Command& command, std::ostream* out)
{
    *out << command.name;
}

class Control : public ServerTest, public ::testing::WithParamInterface<Command> {
protected:
    void Register(bool verdict)
    {
        (server.*GetParam().store)([verdict] { return verdict; }, kResFile);
        platform::ClearHistory();
    }

    // The records that follow a verdict, as level and text.
    static std::vector<RecordMatcher> Shown(RecordMatcher first, const std::string& text)
    {
        std::vector<RecordMatcher> records = {std::move(first)};
        if (GetParam().showsText) {
            records.push_back(Warning("Reload respStr=" + text + " respStrSize=1."));
        }
        return records;
    }
};

TEST_P(Control, AcceptedAnswersOne)
{
    Register(true);

    const Answer answer = Send(GetParam().number);

    EXPECT_EQ(answer.result, 9);
    EXPECT_EQ(answer.Size(), 1u);
    EXPECT_EQ(answer.Bytes(12, 2), std::string("1\0", 2));
    EXPECT_THAT(platform::Records(),
                ElementsAreArray(Shown(Warning(std::string(GetParam().end) + "1"), "1")));
}

TEST_P(Control, RefusedAnswersZero)
{
    Register(false);

    const Answer answer = Send(GetParam().number);

    EXPECT_EQ(answer.result, 9);
    EXPECT_EQ(answer.Payload(), "0");
    EXPECT_THAT(platform::Records(),
                ElementsAreArray(Shown(Warning(std::string(GetParam().end) + "0"), "0")));
}

TEST_P(Control, WithoutACallbackAnswersZero)
{
    const Answer answer = Send(GetParam().number);

    EXPECT_EQ(answer.result, 9);
    EXPECT_EQ(answer.Payload(), "0");
    EXPECT_THAT(platform::Records(), ElementsAreArray(Shown(Error(GetParam().missing), "0")));
}

TEST_P(Control, DoesNotLookAtTheRequest)
{
    Register(true);
    auto request = RequestOf("", -5);
    request.size = UINT64_MAX;

    EXPECT_EQ(Send(GetParam().number, request).Payload(), "1");

    EXPECT_THAT(platform::Errors(), IsEmpty());
}

TEST_P(Control, FailedCopyIsLoggedAndKeepsTheSize)
{
    Register(true);
    platform::SetNext("memcpy_s", {platform::Fails(ERANGE)});

    const Answer answer = Send(GetParam().number, "abc");

    EXPECT_EQ(answer.result, 9);
    EXPECT_EQ(answer.Payload(), std::string(1, '\0'));
    EXPECT_THAT(ServerRecords().back(), Error(std::string(GetParam().failedCopy) + "34"));
    EXPECT_EQ(platform::Errors().size(), 1u);
}

TEST_P(Control, CopiesWithTheBoundOfThePayload)
{
    Register(true);

    Send(GetParam().number);

    EXPECT_EQ(platform::Calls("memcpy_s").front(), "memcpy_s(3888,1)=0");
}

TEST_P(Control, IsLoggedToSyslogInTheSameWords)
{
    Register(true);
    server.EnableSyslog();
    Send(GetParam().number);
    (server.*GetParam().store)({}, kResFile);
    platform::SetNext("memcpy_s", {platform::Fails(ERANGE)});
    Send(GetParam().number);

    std::vector<RecordMatcher> expected = {
        SyslogRecord(LOG_WARNING, std::string(GetParam().end) + "1"),
        SyslogRecord(LOG_ERR, GetParam().missing),
        SyslogRecord(LOG_ERR, std::string(GetParam().failedCopy) + "34")};
    if (GetParam().showsText) {
        expected.insert(expected.begin() + 1,
                        SyslogRecord(LOG_WARNING, "Reload respStr=1 respStrSize=1."));
        expected.insert(expected.begin() + 3,
                        SyslogRecord(LOG_WARNING, "Reload respStr=0 respStrSize=1."));
    }
    EXPECT_THAT(platform::Records(), ElementsAreArray(expected));
    EXPECT_THAT(platform::LevelQueries(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    OfEach, Control,
    ::testing::Values(
        Command{"Reload", &OwnerlinkServer::RegReloadCallBackImpl, kReload,
                "Reload cfg failed, callback is nullptr",
                "Reload cfg callback end. ret=", "Reload memcpy_s failed, err=", true},
        Command{"Dump", &OwnerlinkServer::RegDumpCallBackImpl, 4,
                "DumpHandle failed, callback is nullptr",
                "DumpHandle callback end. ret=", "DumpHandle memcpy_s failed, err=", false},
        Command{"StopAllApp", &OwnerlinkServer::RegStopAllAppCallBackImpl, 5,
                "StopAllApp failed, callback is nullptr",
                "StopAllApp callback end. ret=", "stopAllApp memcpy_s failed, err=", false}),
    [](const auto& test) { return test.param.name; });

class AppList : public ServerTest {
protected:
    void Answer(bool verdict, std::vector<std::string> names)
    {
        server.RegQueryAppListCallBackImpl(
            [verdict, names = std::move(names)](std::vector<std::string>& appList) {
                EXPECT_THAT(appList, IsEmpty());
                appList = names;
                return verdict;
            },
            kResFile);
        platform::ClearHistory();
    }

    // A list whose text has `size` bytes: "1#", the name and "#".
    void AnswerText(size_t size) { Answer(true, {std::string(size - 3, 'n')}); }
};

TEST_F(AppList, HoldsTheNamesInTheirOrder)
{
    Answer(true, {"b", "a", "", "b"});

    const auto answer = Send(kList);

    EXPECT_EQ(answer.Payload(), "1#b#a##b#");
    EXPECT_EQ(answer.result, 17);
    EXPECT_THAT(platform::Records(), ElementsAre(Warning("QueryAppList callback end. ret=1")));
}

TEST_F(AppList, OfNoNamesIsTheVerdictAlone)
{
    Answer(true, {});

    EXPECT_EQ(Send(kList).Payload(), "1#");
}

TEST_F(AppList, DropsTheNamesOfARefusal)
{
    Answer(false, {"a", "b"});

    EXPECT_EQ(Send(kList).Payload(), "0#");

    EXPECT_THAT(platform::Records(), ElementsAre(Warning("QueryAppList callback end. ret=0")));
}

TEST_F(AppList, WithoutACallbackIsARefusal)
{
    const auto answer = Send(kList);

    EXPECT_EQ(answer.Payload(), "0#");
    EXPECT_EQ(answer.result, 10);
    EXPECT_THAT(platform::Records(),
                ElementsAre(Error("QueryAppList failed, callback is nullptr")));
}

TEST_F(AppList, EscapesNothing)
{
    Answer(true, {"a#b", "#"});

    EXPECT_EQ(Send(kList).Payload(), "1#a#b###");
}

TEST_F(AppList, FillsTheWholePayload)
{
    AnswerText(3888);

    const auto answer = Send(kList);

    EXPECT_EQ(answer.result, 3896);
    EXPECT_EQ(answer.Payload(), "1#" + std::string(3885, 'n') + "#");
    EXPECT_THAT(platform::Errors(), IsEmpty());
}

// The copy into the payload is refused, and the copy out of the record is not: the client gets as
// many bytes of an empty payload and the record's tail.
TEST_F(AppList, UpTo4BytesTooLongGoesOutEmptyAtItsFullSize)
{
    for (const int size : {3889, 3890, 3891, 3892}) {
        AnswerText(static_cast<size_t>(size));

        const auto answer = Send(kList, RequestOf(std::string(3888, 'x')));

        EXPECT_EQ(answer.result, size + 8);
        EXPECT_EQ(answer.Size(), static_cast<uint64_t>(size));
        EXPECT_EQ(answer.Bytes(12, 3888), std::string(3888, '\0'));
        EXPECT_EQ(answer.Bytes(3900, 4), std::string(4, '\0'));
        EXPECT_THAT(platform::Records(),
                    ElementsAre(Warning("QueryAppList callback end. ret=1"),
                                Error("QueryAppList memcpy_s failed, err=34")));
    }
}

TEST_F(AppList, LongerThanTheRecordFailsTheExchange)
{
    for (const size_t size : {size_t{3893}, size_t{10000}}) {
        AnswerText(size);
        errno = 0;

        const auto answer = Send(kList);

        EXPECT_EQ(answer.result, kCopyFailed);
        EXPECT_EQ(answer.Size(), size);
        EXPECT_THAT(platform::Records(),
                    ElementsAre(Warning("QueryAppList callback end. ret=1"),
                                Error("QueryAppList memcpy_s failed, err=34"),
                                Error("OwnerlinkRequestMsg memcpy_s failed! errno=0,"
                                      "(size:3892 bytes," +
                                      std::to_string(size) + " bytes)")));
    }
}

TEST_F(AppList, IsLoggedToSyslogInTheSameWords)
{
    server.EnableSyslog();
    AnswerText(3889);
    Send(kList);
    server.RegQueryAppListCallBackImpl({}, kResFile);
    Send(kList);

    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogRecord(LOG_WARNING, "QueryAppList callback end. ret=1"),
                            SyslogRecord(LOG_ERR, "QueryAppList memcpy_s failed, err=34"),
                            SyslogRecord(LOG_ERR, "QueryAppList failed, callback is nullptr")));
    EXPECT_THAT(platform::LevelQueries(), IsEmpty());
}

}  // namespace
