// decode: a record field by field, for each command and direction.

#include <ownerlink/wire.h>

#include <cstring>
#include <fstream>

#include "tests/ctl/ctl_test.h"

using ::testing::HasSubstr;
using ::testing::Not;

namespace {

std::string RecordBytes(const std::string& payload, int32_t timeOut = 2000)
{
    ProcMgr::OwnerlinkRequestMsg record;
    record.size = payload.size();
    record.timeout = timeOut;
    std::memcpy(record.data, payload.data(), payload.size());
    return {reinterpret_cast<const char*>(&record), sizeof record};
}

std::string Bytes(std::initializer_list<int> bytes)
{
    std::string text;
    for (const int byte : bytes) {
        text += static_cast<char>(byte);
    }
    return text;
}

// The fields behind size and time-out, "NAME TEXT MEANING" each.
std::string FieldsOf(const Words& options, const std::string& payload, int code = kExitDone)
{
    Words words = {"decode", "-"};
    words.insert(words.end(), options.begin(), options.end());
    const Ended ended = Ctl(words, RecordBytes(payload));
    EXPECT_EQ(ended.code, code) << ended.err;
    std::istringstream lines(Plain(ended.out));
    std::string fields;
    std::string line;
    for (int number = 0; std::getline(lines, line); ++number) {
        const size_t name = line.find(' ', line.find(' ') + 1);
        const bool isField = line[0] >= '0' && line[0] <= '9';
        if (number > 2) {
            fields += (isField ? line.substr(name + 1) : line) + '\n';
        }
    }
    return fields;
}

}  // namespace

TEST_F(CtlTest, DecodeTakesAChangeApart)
{
    EXPECT_EQ(FieldsOf({"-c", "CHANGE_APP"}, "1#a#2#2#x#y#1#1#1#v#"),
              "applications 1\n"
              "application 1 a\n"
              "option 2 RESTART\n"
              "arguments 2\n"
              "argument 1 x\n"
              "argument 2 y\n"
              "parameters 1\n"
              "index 1\n"
              "values 1\n"
              "value 1 v\n"
              "the library reads it\n");
    EXPECT_EQ(FieldsOf({"-c", "0", "--response"}, "3#0#a#0#b#2#"),
              "pieces (one more than applications) 3\n"
              "verdict 0 refused\n"
              "application 1 a\n"
              "state 0 SUCCESS\n"
              "application 2 b\n"
              "state 2 START_FAILED\n"
              "the library reads it\n");
}

TEST_F(CtlTest, DecodeTakesStatesCancelsAndVerificationsApart)
{
    EXPECT_EQ(FieldsOf({"-c", "set_system_state"}, "258#"),
              "state 258 SUSPEND_PRE\nthe library reads it\n");
    EXPECT_EQ(FieldsOf({"-c", "CANCEL_SUSPEND", "-r"}, "1#"),
              "verdict 1 accepted\nthe library reads it\n");
    EXPECT_EQ(FieldsOf({"-c", "VERIFY_APP"}, "2#a#0#b#1#"),
              "pairs 2\napplication 1 a\noption 0 START\napplication 2 b\noption 1 TERM\n"
              "the library reads it\n");
}

TEST_F(CtlTest, DecodeTakesResultsAndListsApart)
{
    for (const std::string command : {"RELOAD_CFG", "DUMP_APP", "STOP_ALL_APP", "VERIFY_APP"}) {
        EXPECT_EQ(FieldsOf({"-c", command, "-r"}, "0"), "result 0 refused\n");
    }
    EXPECT_EQ(FieldsOf({"-c", "QUERY_APP_LIST", "-r"}, "1#a#b#"),
              "verdict 1 accepted\napplication 1 a\napplication 2 b\n");
    EXPECT_EQ(FieldsOf({"-c", "QUERY_APP_LIST"}, ""), "");
}

TEST_F(CtlTest, DecodeTakesTheBinaryQueryApart)
{
    EXPECT_EQ(FieldsOf({"-c", "QUERY_APP_STATE"},
                       Bytes({1, 0, 0, 0, 3, 0, 0, 0}) + "cam" + Bytes({7, 0, 0, 0})),
              "names 1\nlength 3\nname 1 cam\nquery type 7\n");
    EXPECT_EQ(FieldsOf({"-c", "9", "-r"}, Bytes({1, 1, 0, 0, 0, 3, 0, 0, 0}) + "cam" +
                                              Bytes({-1, -1, -1, -1, 1, 0, 0, 0})),
              "verdict 1 accepted\napplications 1\nlength 3\napplication 1 cam\npid -1\n"
              "status 1 TERMINATED\n");
}

TEST_F(CtlTest, DecodeWithoutACommandShowsBytes)
{
    EXPECT_EQ(FieldsOf({}, "1#a"), "bytes 31 23 61 1#a\n");
}

TEST_F(CtlTest, DecodeSaysWhatIsWrong)
{
    EXPECT_THAT(FieldsOf({"-c", "0"}, "2#a#0#"), HasSubstr("the payload ends before: arguments\n"));
    EXPECT_THAT(FieldsOf({"-c", "2"}, "on#"), HasSubstr("no number: state \"on\"\n"));
    EXPECT_THAT(FieldsOf({"-c", "2"}, "1"), HasSubstr("no '#' ends: state\n"));
    EXPECT_THAT(FieldsOf({"-c", "2"}, "1#rest"), HasSubstr("bytes behind the last field:"));
    EXPECT_THAT(FieldsOf({"-c", "0"}, "1025#", kExitFailed), HasSubstr("the library refuses it\n"));
    EXPECT_THAT(FieldsOf({"-c", "9"}, Bytes({9, 0, 0, 0, 1})),
                HasSubstr("the payload ends before: length\n"));
    EXPECT_THAT(FieldsOf({"-c", "9", "-r"}, Bytes({1})), HasSubstr("ends before: applications\n"));
}

TEST_F(CtlTest, DecodeTakesFilesHexDigitsAndRecordsThatEndWithTheirPayload)
{
    const std::string file = WorldDirectory() + "/record";
    std::ofstream(file) << RecordBytes("1#", -1);

    const Ended fromFile = Ctl({"decode", file, "-c", "2"});
    const Ended fromHex =
        Ctl({"decode", "-", "-c", "2"}, "02 00 00 00 00 00 00 00\nFFFFFFFF\n31 23\n");

    EXPECT_THAT(Plain(fromFile.out), HasSubstr("8 4 timeout -1 the owner's own\n"));
    EXPECT_EQ(fromHex.out, fromFile.out);
    EXPECT_EQ(fromHex.code, kExitDone);
}

TEST_F(CtlTest, DecodeRefusesWhatIsNoRecord)
{
    const std::pair<std::string, std::string> inputs[] = {
        {"", "0 bytes are no record: it has 3904"},
        {"0200000000000000ffffff", "11 bytes are no record"},
        {"0200000000000000ffffff0", "the last byte has one hex digit alone"},
        {RecordBytes("1#") + "x", "3905 bytes are no record"},
    };
    for (const auto& [input, expected] : inputs) {
        const Ended ended = Ctl({"decode", "-", "-c", "2"}, input);

        EXPECT_EQ(ended.code, kExitFailed);
        EXPECT_THAT(ended.err, HasSubstr(expected));
        EXPECT_EQ(ended.out, "");
    }
    EXPECT_THAT(Ctl({"decode", "/nowhere"}).err, HasSubstr("/nowhere: No such file"));
    EXPECT_THAT(Ctl({"decode", "/"}).err, HasSubstr("ownerlinkctl: /"));
    EXPECT_EQ(Ctl({"decode", "-", "-c", "RESTART_ALL"}).code, kExitUsage);
}

TEST_F(CtlTest, DecodeNotesASizeBeyondTheRecordAndACaptureCutShort)
{
    const Ended tooLarge = Ctl({"decode", "-"}, "310f000000000000 d0070000");
    const Ended cut = Ctl({"decode", "-", "-c", "2"}, "0400000000000000 d0070000 32");

    EXPECT_EQ(tooLarge.code, kExitFailed);
    EXPECT_THAT(tooLarge.out, HasSubstr("size exceeds 3888 bytes, which every reader refuses"));
    EXPECT_EQ(cut.code, kExitFailed);
    EXPECT_THAT(cut.out, HasSubstr("only 1 of 4 payload bytes were captured"));
}
