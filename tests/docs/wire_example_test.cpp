// The examples of docs/wire-format.md that only a whole exchange shows, as the two ends write them.
#include <gmock/gmock.h>
#include <ownerlink/client.h>
#include <ownerlink/server.h>
#include <ownerlink/wire.h>

#include <cstdio>
#include <fstream>
#include <iterator>

#include "platform/fake/fake_platform.h"

namespace {

namespace platform = OwnerlinkFake;

constexpr const char* kResource = "dp:/res/apps";

// One line of it, or several.
bool IsInTheDocument(const std::string& example)
{
    std::ifstream file(DOCS_WIRE_FORMAT);
    const std::string document(std::istreambuf_iterator<char>(file), {});
    return document.find("\n    " + example + "\n") != std::string::npos;
}

std::string PayloadOf(const std::vector<uint8_t>& record)
{
    const size_t start = offsetof(ProcMgr::OwnerlinkRequestMsg, data);
    return {record.begin() + start, record.begin() + start + record.at(0)};
}

// Bytes in groups of these lengths: "12 34  56 78".
std::string Hex(const std::string& bytes, const std::vector<size_t>& groups)
{
    std::string text;
    size_t next = 0;
    for (const size_t group : groups) {
        text += text.empty() ? "" : "  ";
        for (size_t i = 0; i < group; ++i) {
            char digits[4];
            std::snprintf(digits, sizeof digits, "%s%02x", i == 0 ? "" : " ",
                          static_cast<unsigned char>(bytes.at(next++)));
            text += digits;
        }
    }
    return text;
}

class WireExample : public ::testing::Test {
protected:
    WireExample() { platform::SetConfig("a: {OsType: 0, GroupOwner: 2, SecVfs: 'dp:/res/apps'}"); }
};

}  // namespace

TEST_F(WireExample, OfAStateQueryIsWhatBothEndsWrite)
{
    OwnerlinkServer::GetInstance().RegSsQueryAppStateCallBackImpl(
        [](const std::vector<std::string>& names, std::vector<AppStatus>& answers, int, int) {
            answers.push_back({names.at(0), 4660, 0});
            return true;
        },
        kResource);
    std::vector<AppStatus> answers;

    ASSERT_EQ(OwnerlinkClient::GetInstance().QueryAppState({"cam"}, answers, 1000, 1), 0U);

    const auto exchanges = platform::Exchanges();
    const std::string request = PayloadOf(exchanges.at(0).request);
    const std::string response = PayloadOf(exchanges.at(0).response);
    EXPECT_TRUE(IsInTheDocument("request   size " + std::to_string(request.size()) + "   " +
                                Hex(request, {4, 4, 3, 4})));
    EXPECT_TRUE(IsInTheDocument("response  size " + std::to_string(response.size()) + "   " +
                                Hex(response, {1, 4, 4, 3, 4, 4})));
}

TEST_F(WireExample, OfAnApplicationListIsWhatTheOwnerWrites)
{
    OwnerlinkServer::GetInstance().RegQueryAppListCallBackImpl(
        [](std::vector<std::string>& names) {
            names = {"a", "b"};
            return true;
        },
        kResource);
    std::map<unsigned int, std::map<unsigned int, std::vector<std::string>>> names;

    ASSERT_EQ(OwnerlinkClient::GetInstance().QueryAppList(names), 0U);

    const std::string response = PayloadOf(platform::Exchanges().at(0).response);
    EXPECT_TRUE(IsInTheDocument(response)) << response;
}
