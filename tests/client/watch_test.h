// What the tests of the watch share: one owner, whose descriptor is 7, and a watch that is taken
// from sweep to sweep.
#ifndef OWNERLINK_TESTS_CLIENT_WATCH_TEST_H
#define OWNERLINK_TESTS_CLIENT_WATCH_TEST_H

#include <memory>
#include <string>
#include <vector>

#include "tests/client/client_test.h"

class WatchTest : public ClientTest {
protected:
    WatchTest() { platform::SetConfig(ConfigOf({{0, 0, kDataMaster}})); }

    // Starts the watch with a change of nothing, and waits for the sleep behind its first read.
    void StartWatch() { StartWatch(client); }
    void StartWatch(Ownerlink::OwnerlinkClientImpl& watcher)
    {
        watcher.ChangeAppState({}, results, 100);
        ASSERT_TRUE(platform::WaitForHeld("nanosleep", 1));
        platform::ClearHistory();
    }

    // Changes one application of the owner, with the state that the owner answers.
    void Change(const std::string& name, unsigned optionType = 0, unsigned state = 0)
    {
        platform::Answer(kDataMaster, Replies("2#1#" + name + "#" + std::to_string(state) + "#"));
        AppInfo app;
        app.appName = name;
        app.optionType = optionType;
        client.ChangeAppState({app}, results, 100);
        platform::Answer(kDataMaster, Replies("1"));
        platform::ClearHistory();
    }

    // Lets the watch sleep `watched` + 1 times: from behind its first read to behind the next.
    void Sweep(std::size_t watched = 1) { ASSERT_TRUE(platform::Step("nanosleep", watched + 1)); }

    // The same, with a read that fails so.
    void SweepWithRead(int error)
    {
        platform::SetNext("read", {platform::Fails(error)});
        Sweep();
    }

    // What the watch does, without its sleeps.
    static std::vector<std::string> WatchCalls()
    {
        return platform::Calls({"open", "read", "IAMResetFileConfig", "ioctl", "close"});
    }

    std::vector<AppChangeInfo> results;
};

#endif
