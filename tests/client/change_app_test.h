// What the tests of changes of applications share.
#ifndef OWNERLINK_TESTS_CLIENT_CHANGE_APP_TEST_H
#define OWNERLINK_TESTS_CLIENT_CHANGE_APP_TEST_H

#include <string>
#include <utility>
#include <vector>

#include "tests/client/client_test.h"

inline constexpr uint32_t kChangeFailed = 0xF10303;

// One application of domain 0, to be started.
inline AppInfo StartOf(const std::string& name, GroupOwner owner = DATAMASTER)
{
    AppInfo app;
    app.groupOwner = owner;
    app.appName = name;
    return app;
}

// One whose item on the wire is `length` bytes long: "<name>#0#1#<argument>#0#".
inline AppInfo StartOfLength(const std::string& name, std::size_t length)
{
    AppInfo app = StartOf(name);
    app.args.emplace_back(length - name.size() - 8, 'x');
    return app;
}

// A client whose watch already runs, and stands in its first sleep. The watch holds the descriptors
// 7, 8 and 9, so that exchanges begin at 10.
class ChangeAppTest : public ClientTest {
protected:
    ChangeAppTest()
    {
        SetBootTrace();
        std::vector<AppChangeInfo> none;
        client.ChangeAppState({}, none, 100);
        EXPECT_TRUE(platform::WaitForHeld("nanosleep", 1));
        platform::ClearHistory();
    }

    uint32_t Change(const std::vector<AppInfo>& apps, int timeOut = 100)
    {
        return client.ChangeAppState(apps, result, timeOut);
    }

    // The results as pairs, which print and compare.
    std::vector<std::pair<std::string, AppChangeState>> Results() const
    {
        std::vector<std::pair<std::string, AppChangeState>> pairs;
        for (const AppChangeInfo& entry : result) {
            pairs.emplace_back(entry.appName, entry.state);
        }
        return pairs;
    }

    std::vector<AppChangeInfo> result;
};

#endif
