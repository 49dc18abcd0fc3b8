#include <gmock/gmock.h>
#include <ownerlink/client.h>

#include <cerrno>
#include <future>

#include "platform/fake/fake_platform.h"

namespace platform = OwnerlinkFake;
using namespace std::chrono_literals;

TEST(Page, Statements)
{
    OwnerlinkClient& client = OwnerlinkClient::GetInstance();
    static_cast<void>(client);
    BLOCK
}
