// When the buffer of an exchange goes: ahead of its descriptor, or behind it.
#include <cerrno>

#include "tests/client/array_heap.h"
#include "tests/client/client_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class BufferOrder : public ClientTest {
protected:
    // Answers with `reply`, and notes which descriptors have been closed when the buffer goes.
    platform::ExchangeScript Watched(const platform::ExchangeScript& reply)
    {
        return [this, reply](const std::string& resource, unsigned command, IAMIoctlArg& arg) {
            WatchArray(arg.buf, [this] {
                isFreed = true;
                closedBefore = platform::Calls("close");
            });
            return reply(resource, command, arg);
        };
    }

    bool Send()
    {
        return client.SendRequestToOwnerByVfs(ProcMgr::DUMP_APP, kDataMaster, {}, response, -1);
    }

    ProcMgr::OwnerlinkResponseMsg response;
    bool isFreed = false;
    std::vector<std::string> closedBefore;
};

TEST_F(BufferOrder, BufferGoesAheadOfTheDescriptorOnSuccess)
{
    platform::AnswerAll(Watched(Replies("1")));

    EXPECT_TRUE(Send());

    EXPECT_TRUE(isFreed);
    EXPECT_THAT(closedBefore, IsEmpty());
    EXPECT_THAT(platform::Calls("close"), ElementsAre("close(7)=0"));
}

TEST_F(BufferOrder, BufferGoesBehindTheDescriptorWhenTheExchangeFails)
{
    platform::AnswerAll(Watched(FailsWith(EPIPE)));

    EXPECT_FALSE(Send());

    EXPECT_TRUE(isFreed);
    EXPECT_THAT(closedBefore, ElementsAre("close(7)=0"));
}

TEST_F(BufferOrder, BufferGoesBehindTheDescriptorWhenTheAnswerIsTooLong)
{
    platform::AnswerAll(Watched(RepliesWithSize(3889, "")));

    EXPECT_FALSE(Send());

    EXPECT_TRUE(isFreed);
    EXPECT_THAT(closedBefore, ElementsAre("close(7)=0"));
}

}  // namespace
