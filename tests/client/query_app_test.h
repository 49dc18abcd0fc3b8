// What the tests of queries share.
#ifndef OWNERLINK_TESTS_CLIENT_QUERY_APP_TEST_H
#define OWNERLINK_TESTS_CLIENT_QUERY_APP_TEST_H

#include <string>
#include <tuple>
#include <vector>

#include "tests/client/client_test.h"

inline constexpr uint32_t kQueryFailed = 0xF1030D;

// The bytes of one field.
template <typename Number>
std::string Bytes(Number number)
{
    return std::string(reinterpret_cast<const char*>(&number), sizeof(number));
}

inline std::string NameBytes(const std::string& text)
{
    return Bytes(static_cast<uint32_t>(text.size())) + text;
}

inline std::string EntryBytes(const std::string& name, int32_t pid, uint32_t status)
{
    return NameBytes(name) + Bytes(pid) + Bytes(status);
}

// An owner's answer: the verdict, the announced count and the entries' bytes.
inline std::string AnswerBytes(uint8_t verdict, uint32_t count, const std::string& entries = {})
{
    return Bytes(verdict) + Bytes(count) + entries;
}

class QueryAppTest : public ClientTest {
protected:
    using Entry = std::tuple<std::string, int32_t, uint32_t>;

    QueryAppTest() { SetBootTrace(); }

    uint32_t Query(const std::vector<std::string>& names, int queryType = 1, int timeOut = 100)
    {
        return client.QueryAppState(names, answers, timeOut, queryType);
    }

    // Leaves one owner, whose sender then is the only thread beside the caller, and the load
    // behind.
    void KeepOneOwner()
    {
        platform::SetConfig(ConfigOf({{0, 0, kDataMaster}}));
        client.LoadSecvfsCfg();
        platform::ClearHistory();
    }

    // The answers as tuples, which print and compare.
    std::vector<Entry> Answers() const
    {
        std::vector<Entry> entries;
        for (const AppStatus& answer : answers) {
            entries.emplace_back(answer.appName, answer.pid, answer.status);
        }
        return entries;
    }

    std::vector<AppStatus> answers;
};

#endif
