#include "tools/ownerd/journal.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>

using namespace ownerd;

namespace {

// A socket in a directory of its own, as the journal would have it.
class JournalTest : public testing::Test {
protected:
    JournalTest()
    {
        std::string pattern = std::filesystem::temp_directory_path() / "ownerd_journal_XXXXXX";
        directory_ = mkdtemp(pattern.data());
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        Path().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    ~JournalTest() override
    {
        close(socket_);
        std::filesystem::remove_all(directory_);
    }

    std::string Path() const { return directory_ + "/socket"; }

    std::string Next() const
    {
        std::array<char, 8192> buffer{};
        const ssize_t size = recv(socket_, buffer.data(), buffer.size(), MSG_DONTWAIT);
        return size < 0 ? "nothing" : std::string(buffer.data(), static_cast<size_t>(size));
    }

private:
    std::string directory_;
    int socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

}  // namespace

TEST(JournalEntry, HasTheOwnerAndTheApplicationAsFields)
{
    EXPECT_EQ(JournalEntry({LOG_WARNING, "media: not ready", "dp:/res/pm/appmgr", "media"}),
              "MESSAGE=media: not ready\nPRIORITY=4\nSYSLOG_IDENTIFIER=ownerlink-ownerd\n"
              "OWNERLINK_LEVEL=warning\nOWNERLINK_MODULE=ownerd\n"
              "OWNERLINK_OWNER=dp:/res/pm/appmgr\nOWNERLINK_APPLICATION=media\n");
}

TEST(JournalEntry, LeavesOutWhatIsNotKnown)
{
    EXPECT_EQ(JournalEntry({LOG_ERR, "x", "", ""}),
              "MESSAGE=x\nPRIORITY=3\nSYSLOG_IDENTIFIER=ownerlink-ownerd\n"
              "OWNERLINK_LEVEL=error\nOWNERLINK_MODULE=ownerd\n");
}

TEST(JournalEntry, KeepsLinesInsideTheirField)
{
    const std::string entry = JournalEntry({LOG_INFO, "a\nPRIORITY=0", "", ""});

    const std::string message("MESSAGE\n\x0c\0\0\0\0\0\0\0a\nPRIORITY=0\n", 8 + 8 + 13);
    EXPECT_EQ(entry.substr(0, message.size()), message);
    EXPECT_EQ(entry.substr(message.size(), 11), "PRIORITY=6\n");
}

TEST_F(JournalTest, GetsEachEntryAsOneDatagram)
{
    EXPECT_TRUE(SendToJournal(Path(), "MESSAGE=a\n"));
    EXPECT_TRUE(SendToJournal(Path(), "MESSAGE=b\n"));

    EXPECT_EQ(Next(), "MESSAGE=a\n");
    EXPECT_EQ(Next(), "MESSAGE=b\n");
    EXPECT_EQ(Next(), "nothing");
}

TEST_F(JournalTest, IsGivenUpWhereNobodyListens)
{
    EXPECT_FALSE(SendToJournal(Path() + "-none", "MESSAGE=a\n"));
    EXPECT_FALSE(SendToJournal(std::string(200, 'x'), "MESSAGE=a\n"));
}

TEST_F(JournalTest, IsGivenUpWhenItTakesNothing)
{
    while (SendToJournal(Path(), "MESSAGE=a\n")) {}

    EXPECT_EQ(Next(), "MESSAGE=a\n");
    EXPECT_TRUE(SendToJournal(Path(), "MESSAGE=b\n"));
}
