// An event's report to two open files, which the tests of it begin with.
#ifndef OWNERLINK_TESTS_SERVER_REPORT_EVENT_H
#define OWNERLINK_TESTS_SERVER_REPORT_EVENT_H

#include <algorithm>
#include <functional>
#include <string>

#include "tests/server/server_test.h"

inline constexpr int kNoFile = 15794177;
inline constexpr int kNoBlock = 15794697;
inline constexpr int kWriteFailed = 15794179;
inline constexpr int kEnqueueFailed = 15794699;

// Two open files, "a" at the lower address, in which order the server walks them.
class ReportEvent : public ServerTest {
protected:
    ReportEvent()
    {
        ProcMgr::OwnerlinkServerImpl::OwnerlinkServerOpen(first);
        ProcMgr::OwnerlinkServerImpl::OwnerlinkServerOpen(second);
        platform::ClearHistory();
    }

    ~ReportEvent() override
    {
        ProcMgr::OwnerlinkServerImpl::OwnerlinkServerClose(first);
        ProcMgr::OwnerlinkServerImpl::OwnerlinkServerClose(second);
    }

    void CloseSecond()
    {
        ProcMgr::OwnerlinkServerImpl::OwnerlinkServerClose(second);
        platform::ClearHistory();
    }

    int Report(uint32_t state = 258) { return server.ReportSysEvent({state}); }

    // The server orders by address, so the records are brought into that order first.
    struct Pair {
        IamQfsMgrFile* low = platform::NewQueueFile("a");
        IamQfsMgrFile* high = platform::NewQueueFile("b");
    };
    Pair files;
    IamQfsMgrFile* first = std::min(files.low, files.high, std::less<>());
    IamQfsMgrFile* second = std::max(files.low, files.high, std::less<>());
    std::string a = first->name;
    std::string b = second->name;
};

#endif
