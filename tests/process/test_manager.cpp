// A second manager, told by the test what to call. Each line is answered with the code.
//
//   set STATE TIMEOUT
//   start GROUP APP TIMEOUT
//   exit

#include <ownerlink/client.h>
#include <ownerlink/enum_text.h>

#include <iostream>
#include <sstream>

#include "tests/process/peer_lines.h"

namespace {

uint32_t SetState(std::istringstream& words)
{
    int state = 0;
    int timeOut = 0;
    words >> state >> timeOut;
    return OwnerlinkClient::GetInstance().SetSystemState(state, timeOut);
}

uint32_t Start(std::istringstream& words)
{
    uint32_t group = 0;
    int timeOut = 0;
    AppInfo app;
    words >> group >> app.appName >> timeOut;
    app.groupOwner = static_cast<GroupOwner>(group);
    app.optionType = ProcMgr::START;
    std::vector<AppChangeInfo> result;
    return OwnerlinkClient::GetInstance().ChangeAppState({app}, result, timeOut);
}

}  // namespace

int main()
{
    FollowTheTest();
    Say("ready");
    for (std::string line; std::getline(std::cin, line) && line != "exit";) {
        std::istringstream words(line);
        std::string verb;
        words >> verb;
        Say("code " + std::to_string(verb == "set" ? SetState(words) : Start(words)));
        Say("ok");
    }
}
