// The process manager's wrappers over the sample platform's pipes.
#include <gmock/gmock.h>
#include <ownerlink/process_manager.h>
#include <sys/socket.h>

#include <cerrno>
#include <string>
#include <thread>

#include "sample_pipe.h"

namespace {

using ::testing::ElementsAre;

class SamplePipe : public ::testing::Test {
protected:
    SamplePipe() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends_), 0); }

    int ends_[2] = {-1, -1};
};

}  // namespace

TEST_F(SamplePipe, CarriesACallAndItsResponse)
{
    EzcomRequest request{{'a', 'b'}};
    EzcomResponse response;
    std::thread peer([this] {
        char bytes[8];
        ASSERT_EQ(recv(ends_[1], bytes, sizeof bytes, 0), 2);
        const EzcomResponse answer{{'c'}};
        EXPECT_EQ(ProcMgr::ProcMgrEzcomSendResponse(ends_[1], &answer), 0);
    });

    EXPECT_EQ(ProcMgr::ProcMgrEzcomTimedRPCSync(ends_[0], &request, &response, 5000), 0);

    peer.join();
    EXPECT_THAT(response.bytes, ElementsAre('c'));
}

TEST_F(SamplePipe, SaysThatThePeerHasGone)
{
    const EzcomRequest request{{'a'}};
    ProcMgr::ProcMgrEzcomClosePipe(ends_[1]);

    EXPECT_EQ(ProcMgr::ProcMgrEzcomSendRequest(ends_[0], &request), -EPIPE);
}

TEST_F(SamplePipe, SaysThatNoResponseCame)
{
    EzcomRequest request{{'a'}};
    EzcomResponse response;

    EXPECT_EQ(ProcMgr::ProcMgrEzcomTimedRPCSync(ends_[0], &request, &response, 1), -ETIMEDOUT);
}
