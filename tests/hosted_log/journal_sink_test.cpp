#include "platform/hosted/log/journal_sink.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "platform/dlog.h"
#include "platform/hosted/log/journal_socket.h"
#include "platform/hosted/log/levels.h"
#include "platform/hosted/log/router.h"
#include "tests/hosted_log/journal_double.h"
#include "tests/hosted_log/log_world.h"

using testing::HasSubstr;
using testing::Not;
using namespace hosted::log;

namespace {

class JournalSinkTest : public LogWorld {
protected:
    JournalSinkTest() : journal_(Path("journal")) { Configure("debug,journal:" + Path("journal")); }

    // The entry of a record whose fields behind the thread's number are `fields`.
    static std::string Entry(const std::string& message, int priority, const std::string& fields)
    {
        return "MESSAGE=" + message + "\nPRIORITY=" + std::to_string(priority) +
               "\nSYSLOG_IDENTIFIER=" + program_invocation_short_name +
               "\nTID=" + std::to_string(gettid()) + "\n" + fields;
    }

    static std::string ThreadField()
    {
        const std::string caller = Caller();
        return "OWNERLINK_THREAD=" + caller.substr(caller.find(' ') + 1) + "\n";
    }

    JournalDouble& Journal() { return journal_; }

private:
    JournalDouble journal_;
};

}  // namespace

TEST_F(JournalSinkTest, SendsARecordAsItsFields)
{
    EXPECT_EQ(DlogRecord(kClientModule, kWarning, "[%s:%d]state=%d", "Unit", 7, 1), 0);

    EXPECT_EQ(Journal().Next(),
              Entry("[Unit:7]state=1", 4,
                    "OWNERLINK_LEVEL=warning\nOWNERLINK_MODULE=client\n" + ThreadField()));
    EXPECT_EQ(Journal().Next(), "nothing");
    EXPECT_EQ(StderrText(), "");
}

TEST_F(JournalSinkTest, GivesEachLevelItsPriorityAndName)
{
    const struct {
        uint32_t level;
        const char* fields;
    } kLevels[] = {
        {kDebug, "PRIORITY=7"},   {kInformation, "PRIORITY=6"}, {kNotice, "PRIORITY=5"},
        {kWarning, "PRIORITY=4"}, {kError, "PRIORITY=3"},       {9, "PRIORITY=6"},
    };
    for (const auto& [level, priority] : kLevels) {
        DlogRecord(kPlatformModule, level, "x");

        const std::string entry = Journal().Next();
        EXPECT_THAT(entry, HasSubstr(std::string("\n") + priority + "\n"));
        EXPECT_THAT(entry, HasSubstr("\nOWNERLINK_LEVEL=" + LevelName(level) + "\n"));
        EXPECT_THAT(entry, HasSubstr("\nOWNERLINK_MODULE=platform\n"));
    }
}

TEST_F(JournalSinkTest, MarksMilestones)
{
    DlogRecord(kServerModule | kMilestoneBit, kInformation, "reached");

    EXPECT_EQ(Journal().Next(),
              Entry("reached", 6,
                    "OWNERLINK_LEVEL=info\nOWNERLINK_MODULE=server\nOWNERLINK_MILESTONE=1\n" +
                        ThreadField()));
}

TEST_F(JournalSinkTest, KeepsAForgedFieldInsideTheMessage)
{
    DlogRecord(kServerModule, kError, "name=x\nPRIORITY=0\n");

    EXPECT_THAT(Journal().Next(), HasSubstr("MESSAGE=name=x\\nPRIORITY=0\\n\nPRIORITY=3\n"));
}

// What docs/logging.md searches for.
TEST_F(JournalSinkTest, NamesTheOwnerAndTheApplicationThatAManagersRecordIsAbout)
{
    DlogRecord(kClientModule, kError, "ChangeAppState: secVfs=%s appName=%s result=%u(FAIL)",
               "dp:/res/pm/appmgr", "media", 1U);
    EXPECT_THAT(Journal().Next(),
                HasSubstr("\nOWNERLINK_OWNER=dp:/res/pm/appmgr\nOWNERLINK_APPLICATION=media\n"));

    DlogRecord(kClientModule, kError, "ioctl failed. (fd=%d,resFileName=%s,err=%d)", 1, "a", 2);
    const std::string entry = Journal().Next();
    EXPECT_THAT(entry, HasSubstr("\nOWNERLINK_OWNER=a\n"));
    EXPECT_THAT(entry, Not(HasSubstr("OWNERLINK_APPLICATION")));
}

TEST_F(JournalSinkTest, NamesWhatThisProcessOwnsInTheOwnersRecords)
{
    Router::NameOwner("dp:/res/pm/appmgr");
    Router::NameOwner("sd:/two\nlines");

    DlogRecord(kServerModule, kError, "x secVfs=other");
    EXPECT_EQ(Journal().Next(),
              Entry("x secVfs=other", 3,
                    "OWNERLINK_LEVEL=error\nOWNERLINK_MODULE=server\n" + ThreadField() +
                        "OWNERLINK_OWNER=dp:/res/pm/appmgr\n"
                        "OWNERLINK_OWNER=sd:/two\\nlines\n"));

    DlogRecord(kClientModule, kError, "x");
    EXPECT_THAT(Journal().Next(), Not(HasSubstr("OWNERLINK_OWNER")));
}

TEST_F(JournalSinkTest, OwnsNothingInAForkedChild)
{
    Router::NameOwner("dp:/res/pm/appmgr");

    const pid_t child = fork();
    if (child == 0) {
        _exit(DlogRecord(kServerModule, kError, "child"));
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);

    EXPECT_EQ(status, 0);
    const std::string entry = Journal().Next();
    EXPECT_THAT(entry, HasSubstr("MESSAGE=child\n"));
    EXPECT_THAT(entry, Not(HasSubstr("OWNERLINK_OWNER")));
}

TEST_F(JournalSinkTest, SendsWhatNoDatagramHoldsAsASealedFile)
{
    const std::string text(200'000, 'x');
    const std::string entry = "MESSAGE=" + text + "\n";
    JournalDouble journal(Path("large"));

    EXPECT_EQ(DlogRecord(kClientModule, kError, "%s", text.c_str()), 0);
    EXPECT_THAT(Journal().Next(), HasSubstr("x... (167232 bytes cut)\nPRIORITY=3\n"));
    EXPECT_FALSE(Journal().CameAsFile());

    // Names of owners are what makes an entry so large.
    for (int owner = 0; owner < 50; ++owner) {
        Router::NameOwner(std::string(10'000, 'o'));
    }
    EXPECT_EQ(DlogRecord(kServerModule, kError, "large"), 0);
    const std::string large = Journal().Next();
    EXPECT_TRUE(Journal().CameAsFile());
    EXPECT_EQ(Journal().Seals(), F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL);
    EXPECT_EQ(large.substr(0, 25), "MESSAGE=large\nPRIORITY=3\n");
    EXPECT_GT(large.size(), 500'000U);
}

TEST_F(JournalSinkTest, LeavesNoDescriptorOpen)
{
    const int before = dup(STDIN_FILENO);
    close(before);

    DlogRecord(kClientModule, kError, "x");

    const int after = dup(STDIN_FILENO);
    close(after);
    EXPECT_EQ(after, before);
}

TEST_F(JournalSinkTest, GivesUpOnAJournalThatTakesNothingAndReportsTheLoss)
{
    Journal().Fill();
    EXPECT_EQ(DlogRecord(kClientModule, kError, "lost"), -1);

    while (Journal().Next() == "x") {}
    EXPECT_EQ(DlogRecord(kClientModule, kError, "found"), 0);

    EXPECT_THAT(
        Journal().Next(),
        HasSubstr("MESSAGE=1 records lost: Resource temporarily unavailable\nPRIORITY=4\n"));
    EXPECT_THAT(Journal().Next(), HasSubstr("MESSAGE=found\n"));
}

namespace {

class NoJournalTest : public LogWorld {};

}  // namespace

TEST_F(NoJournalTest, SaysAtOnceThatNoJournalListensAndGoesOnTrying)
{
    Configure("journal:" + Path("journal"));

    EXPECT_EQ(DlogRecord(kClientModule, kError, "lost"), -1);
    EXPECT_EQ(StderrText(), "ownerlink: OWNERLINK_LOG: \"journal:" + Path("journal") +
                                "\": No such file or directory; records are lost until it can be "
                                "written\n");

    JournalDouble journal(Path("journal"));
    EXPECT_EQ(DlogRecord(kClientModule, kError, "found"), 0);
    EXPECT_THAT(journal.Next(), HasSubstr("MESSAGE=1 records lost: No such file or directory\n"));
    EXPECT_THAT(journal.Next(), HasSubstr("MESSAGE=found\n"));
}

TEST_F(NoJournalTest, RefusesASocketWhoseNameIsTooLong)
{
    const JournalSink sink(std::string(108, 'x'));
    const Origin origin = OriginOfCaller();

    EXPECT_EQ(JournalSink(std::string(108, 'x')).Probe(), ENAMETOOLONG);
    EXPECT_EQ(JournalSink(std::string(108, 'x')).Write(Line({kClientModule, kError, "x"}, origin)),
              ENAMETOOLONG);
}

TEST(FindFact, ReadsTheFirstKnownNameUpToTheEndOfItsValue)
{
    EXPECT_EQ(FindFact("(fd=1,file=a,err=2)", {"file"}), "a");
    EXPECT_EQ(FindFact("x secVfs=a appName=b", {"file", "secVfs"}), "a");
    EXPECT_EQ(FindFact("[Unit:1]file=a", {"file"}), "a");
    EXPECT_EQ(FindFact("file=a", {"file"}), "a");
    EXPECT_EQ(FindFact("(file=a)", {"file"}), "a");
}

TEST(FindFact, IsEmptyWhereNoFactHasThatName)
{
    EXPECT_EQ(FindFact("", {"file"}), "");
    EXPECT_EQ(FindFact("file", {"file"}), "");
    EXPECT_EQ(FindFact("profile=a", {"file"}), "");
    EXPECT_EQ(FindFact("files=a", {"file"}), "");
    EXPECT_EQ(FindFact("file=", {"file"}), "");
    EXPECT_EQ(FindFact("profile=a file=b", {"file"}), "b");
}

TEST_F(JournalSinkTest, SaysThatThereIsNoDescriptorLeftForIt)
{
    const std::string path = Path("journal");
    rlimit before = {};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none = {0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    const int probed = ProbeJournal(path);
    const int sent = SendToJournal(path, "MESSAGE=x\n");
    setrlimit(RLIMIT_NOFILE, &before);

    EXPECT_EQ(probed, EMFILE);
    EXPECT_EQ(sent, EMFILE);
}
