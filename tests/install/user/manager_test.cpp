// A user's test of a manager against the double: no owner's process, no file in /etc. Its exit code
// says whether the manager asked both owners, and named the one that is not there.
#include <ownerlink/client.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>

#include "platform/fake/fake_platform.h"

namespace platform = OwnerlinkFake;

static int SayYes(const std::string&, unsigned int, IAMIoctlArg& argument)
{
    const uint64_t size = 2;
    std::memcpy(argument.buf, &size, sizeof(size));
    std::memcpy(static_cast<char*>(argument.buf) + 12, "1#", 2);
    return 10;
}

int main()
{
    platform::SetConfig(
        "apps: {OsType: 0, GroupOwner: 2, SecVfs: 'dp:/res/apps'}\n"
        "data: {OsType: 0, GroupOwner: 0, SecVfs: 'dp:/res/data'}\n");
    platform::AnswerAll(SayYes);
    const uint32_t all = OwnerlinkClient::GetInstance().SetSystemState(2, 1000);

    platform::SetStanding("open", platform::Fails(ENOENT), "dp:/res/apps");
    const uint32_t some = OwnerlinkClient::GetInstance().SetSystemState(1, 1000);

    const auto calls = platform::Calls("open");
    const bool isRefusalSeen =
        std::count(calls.begin(), calls.end(), "open(dp:/res/apps,O_RDWR)=-1 ENOENT") == 1;
    const std::size_t exchanges = platform::Exchanges().size();
    std::cout << std::hex << "codes " << all << " " << some << ", exchanges " << exchanges << "\n";
    return all == 0 && some == 0xF10301U && exchanges == 3 && isRefusalSeen ? 0 : 1;
}
