#include <gtest/gtest.h>
#include <ownerlink/enum_text.h>
#include <ownerlink/records.h>

#include <climits>
#include <thread>
#include <vector>

namespace {

using namespace ProcMgr;

using TextFunction = std::string (*)(unsigned long);

struct TextRow {
    const char* function;
    TextFunction textOf;
    unsigned long value;
    const char* text;
};

void PrintTo(const TextRow& row, std::ostream* out)
{
    *out << row.function << "(" << row.value << ")";
}

class EnumerationTexts : public ::testing::TestWithParam<TextRow> {};

TEST_P(EnumerationTexts, AreThoseOfTheTable)
{
    EXPECT_EQ(GetParam().textOf(GetParam().value), GetParam().text);
}

std::string RowName(const ::testing::TestParamInfo<TextRow>& row)
{
    return std::string(row.param.function) + "Of" + std::to_string(row.param.value);
}

// The texts of 0, 1, 2 and so on, and none for the number behind them, nor for a negative one that
// has passed through unsigned long.
std::vector<TextRow> Rows(const char* function, TextFunction textOf,
                          const std::vector<const char*>& texts)
{
    std::vector<TextRow> rows;
    for (const char* const text : texts) {
        rows.push_back({function, textOf, rows.size(), text});
    }
    rows.push_back({function, textOf, texts.size(), ""});
    rows.push_back({function, textOf, static_cast<unsigned long>(-1), ""});
    rows.push_back({function, textOf, 1UL << 32, ""});
    return rows;
}

INSTANTIATE_TEST_SUITE_P(GroupOwner, EnumerationTexts,
                         ::testing::ValuesIn(Rows("GetGroupOwner", GetGroupOwner,
                                                  {"DATAMASTER", "IAM", "APPMGR"})),
                         RowName);
INSTANTIATE_TEST_SUITE_P(OptionType, EnumerationTexts,
                         ::testing::ValuesIn(Rows("GetOptionType", GetOptionType,
                                                  {"START", "TERM", "RESTART"})),
                         RowName);
INSTANTIATE_TEST_SUITE_P(AppState, EnumerationTexts,
                         ::testing::ValuesIn(Rows("GetAppState", GetAppState,
                                                  {"SUCCESS", "TERM_FAILED", "START_FAILED",
                                                   "RESTART_FAILED", "INIT", "PROCESSING",
                                                   "START_FAILED_BY_EIO"})),
                         RowName);
INSTANTIATE_TEST_SUITE_P(
    ReportAppStateType, EnumerationTexts,
    ::testing::ValuesIn(Rows("GetReportAppStateTypeStr", GetReportAppStateTypeStr,
                             {"RUNNING_NORMAL_START", "RUNNING_NORMAL_RESTART",
                              "RUNNING_ABNORMAL_TERM_TIMEOUT", "TERMINATED_NORMAL_EXIT",
                              "TERMINATED_ABNORMAL_EXIT", "INVALID_INTERMEDIATE_STATE"})),
    RowName);
INSTANTIATE_TEST_SUITE_P(ProcessState, EnumerationTexts,
                         ::testing::ValuesIn(Rows("GetProcessStateStr", GetProcessStateStr,
                                                  {"INITSTATE", "STARTING", "RUNNING",
                                                   "TERMINATING", "TERMINATED", "RESTARTING"})),
                         RowName);
INSTANTIATE_TEST_SUITE_P(
    BaseServiceState, EnumerationTexts,
    ::testing::ValuesIn(Rows("GetBaseServiceStateTypeStr", GetBaseServiceStateTypeStr,
                             {"INIT", "RESTARTING", "RUNNING", "TERMINATING"})),
    RowName);
INSTANTIATE_TEST_SUITE_P(AppExecState, EnumerationTexts,
                         ::testing::ValuesIn(Rows("GetAppExecStateStr", GetAppExecStateStr,
                                                  {"RUNNING", "TERMINATED"})),
                         RowName);

const TextRow systemStates[] = {
    {"GetSysState", GetSysState, 0, "OFF"},
    {"GetSysState", GetSysState, 1, "WORKING"},
    {"GetSysState", GetSysState, 2, "SUSPEND"},
    {"GetSysState", GetSysState, 3, "UPGRADE"},
    {"GetSysState", GetSysState, 4, "CALIBRATION"},
    {"GetSysState", GetSysState, 5, ""},
    {"GetSysState", GetSysState, 256, ""},
    {"GetSysState", GetSysState, 257, "HIGH_LEVEL_ADS_EXIT"},
    {"GetSysState", GetSysState, 258, "SUSPEND_PRE"},
    {"GetSysState", GetSysState, 259, ""},
    {"GetSysState", GetSysState, ULONG_MAX, ""},
    {"GetSysState", GetSysState, (1UL << 32) + 1, ""},
};

INSTANTIATE_TEST_SUITE_P(SysState, EnumerationTexts, ::testing::ValuesIn(systemStates), RowName);

TEST(Enumerators, HaveTheNamesOfTheirTexts)
{
    EXPECT_EQ(GetSysState(HIGH_LEVEL_ADS_EXIT), "HIGH_LEVEL_ADS_EXIT");
    EXPECT_EQ(GetSysState(SUSPEND_PRE), "SUSPEND_PRE");
    EXPECT_EQ(GetGroupOwner(APPMGR), "APPMGR");
    EXPECT_EQ(GetOptionType(RESTART), "RESTART");
    EXPECT_EQ(GetAppState(START_FAILED_BY_EIO), "START_FAILED_BY_EIO");
    EXPECT_EQ(GetReportAppStateTypeStr(INVALID_INTERMEDIATE_STATE), "INVALID_INTERMEDIATE_STATE");
    EXPECT_EQ(GetProcessStateStr(RESTARTING), "RESTARTING");
}

TEST(Enumerators, OfANegativeStateHaveNoText)
{
    const int state = -1;

    EXPECT_EQ(GetSysState(static_cast<unsigned long>(state)), "");
}

TEST(EnumerationTables, AreBuiltOnceByThreadsThatAllComeFirst)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] { EXPECT_EQ(GetSysState(SUSPEND_PRE), "SUSPEND_PRE"); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

struct DigitsRow {
    const char* name;
    std::string text;
    bool isDigits;
};

void PrintTo(const DigitsRow& row, std::ostream* out)
{
    *out << row.name;
}

class DigitTexts : public ::testing::TestWithParam<DigitsRow> {};

TEST_P(DigitTexts, AreThoseOfDigitsAlone)
{
    EXPECT_EQ(IsStrDigits(GetParam().text), GetParam().isDigits);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, DigitTexts,
    ::testing::Values(DigitsRow{"Empty", "", true}, DigitsRow{"Digits", "123", true},
                      DigitsRow{"AllDigits", "0123456789", true},
                      DigitsRow{"LetterBehind", "12a", false}, DigitsRow{"Sign", "-1", false},
                      DigitsRow{"Blank", " 1", false}, DigitsRow{"Point", "1.0", false},
                      DigitsRow{"ZeroByte", std::string("1\0", 2), false},
                      DigitsRow{"HighByte", "\xb2", false}),
    [](const auto& row) { return row.param.name; });

}  // namespace
