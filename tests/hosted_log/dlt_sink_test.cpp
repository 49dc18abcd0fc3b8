#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>

#include "tests/hosted_log/log_world.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// Text with each "[process:thread name]" made "[who]".
std::string WithoutThread(std::string line)
{
    const size_t start = line.find('[');
    const size_t end = line.find("] ", start);
    return end == std::string::npos ? line : line.replace(start, end - start + 1, "[who]");
}

class DltSinkTest : public LogWorld {
protected:
    // Runs the logger with the double in the library's place; what it printed.
    std::string Run(const std::string& log, const std::string& what, const std::string& mode = "")
    {
        setenv("LD_LIBRARY_PATH", libraries_.c_str(), 1);
        setenv("DLT_DOUBLE_NOTES", Path("notes").c_str(), 1);
        setenv("DLT_DOUBLE_MODE", mode.c_str(), 1);
        setenv("OWNERLINK_LOG", log.c_str(), 1);
        std::FILE* const logger = popen((std::string(DLT_LOGGER) + ' ' + what).c_str(), "r");
        std::string printed;
        for (int next = std::fgetc(logger); next != EOF; next = std::fgetc(logger)) {
            printed += static_cast<char>(next);
        }
        EXPECT_EQ(pclose(logger), 0);
        return printed;
    }

    std::vector<std::string> Notes() const
    {
        std::vector<std::string> notes = FileLines("notes");
        std::transform(notes.begin(), notes.end(), notes.begin(), WithoutThread);
        return notes;
    }

    void HideLibrary()
    {
        libraries_ = Path("libraries");
        mkdir(libraries_.c_str(), 0700);
        WriteFile(libraries_ + "/libdlt.so.2", "no library");
    }

private:
    std::string libraries_ = DLT_DOUBLE_DIRECTORY;
};

}  // namespace

TEST_F(DltSinkTest, IsAnApplicationWithAContextForEachModule)
{
    EXPECT_EQ(Run("info,dlt", "modules"), "0\n0\n0\n0\n0\n");

    EXPECT_THAT(Notes(),
                ElementsAre("own log level 0", "application OWNL ownerlink", "wait at exit 100",
                            "context CLNT ownerlink client 6 0", "CLNT 2 [who] x",
                            "context SRVR ownerlink server 6 0", "SRVR 2 [who] x",
                            "context PLAT ownerlink platform 6 0", "PLAT 2 [who] x",
                            "context M007 ownerlink 7 6 0", "M007 2 [who] x",
                            "context MORE ownerlink 300 6 0", "MORE 2 [who] x"));
    EXPECT_EQ(StderrText(), "");
}

TEST_F(DltSinkTest, MapsLevelsAndSaysWhatDltHasNoLevelFor)
{
    EXPECT_EQ(Run("debug,dlt:LINK", "levels"), "0\n0\n0\n0\n0\n");

    EXPECT_THAT(
        Notes(),
        ElementsAre("own log level 0", "application LINK ownerlink", "wait at exit 100",
                    "context CLNT ownerlink client 6 0", "CLNT 5 [who] debug", "CLNT 4 [who] info",
                    "CLNT 4 notice [who] notice", "CLNT 3 [who] warning", "CLNT 2 [who] error"));
}

TEST_F(DltSinkTest, MarksMilestones)
{
    Run("info,dlt", "milestone");

    EXPECT_EQ(Notes().back(), "SRVR 4 milestone [who] reached");
}

TEST_F(DltSinkTest, LeavesOutWhatItsLevelsLeaveOut)
{
    Run("error,dlt", "levels");

    EXPECT_EQ(Notes().size(), 5U);
    EXPECT_EQ(Notes().back(), "CLNT 2 [who] error");
}

TEST_F(DltSinkTest, KeepsTheNameOfAProgramThatIsAnApplicationAlready)
{
    Run("info,dlt:MINE", "x", "host");

    EXPECT_THAT(Notes(), ElementsAre("context CLNT ownerlink client 6 0", "CLNT 2 [who] x"));
}

TEST_F(DltSinkTest, CutsALongTextIntoMessagesBetweenItsCharacters)
{
    EXPECT_EQ(Run("info,dlt", "long"), "0\n");

    const std::vector<std::string> notes = FileLines("notes");
    ASSERT_EQ(notes.size(), 7U);
    EXPECT_EQ(notes[4].size(), sizeof("CLNT 2 ") - 1 + 1299);
    EXPECT_EQ(notes[4].back(), 'a');
    EXPECT_EQ(notes[5], "CLNT 2 ... \u00e4" + std::string(1298, 'b'));
    EXPECT_EQ(notes[6], "CLNT 2 ... ccc");
}

TEST_F(DltSinkTest, CountsWhatTheLibraryHasNoRoomFor)
{
    EXPECT_EQ(Run("info,dlt", "one", "full"), "-1\n");
}

TEST_F(DltSinkTest, TakesALevelThatNobodyWantsToSeeForWritten)
{
    EXPECT_EQ(Run("info,dlt", "one", "quiet"), "0\n");
}

TEST_F(DltSinkTest, WritesNothingInAForkedChild)
{
    EXPECT_EQ(Run("info,dlt", "parent child again"), "0\n-1\n0\n");

    EXPECT_EQ(Notes().size(), 6U);
    EXPECT_EQ(Notes().back(), "CLNT 2 [who] again");
}

TEST_F(DltSinkTest, SaysThatTheLibraryIsNotInstalledAndKeepsOtherSinksGoing)
{
    HideLibrary();

    EXPECT_EQ(Run("info,dlt,file:" + Path("a.log"), "x"), "-1\n");

    EXPECT_EQ(StderrText(),
              "ownerlink: OWNERLINK_LOG: \"dlt\": Can not access a needed shared library; "
              "records are lost until it can be written\n");
    EXPECT_EQ(FileLines("a.log").size(), 1U);
}

TEST_F(DltSinkTest, RefusesAnotherVersionOfTheLibrary)
{
    EXPECT_EQ(Run("info,dlt:LINK", "x", "foreign"), "-1\n");

    EXPECT_EQ(StderrText(),
              "ownerlink: OWNERLINK_LOG: \"dlt:LINK\": Accessing a corrupted shared library; "
              "records are lost until it can be written\n");
    EXPECT_THAT(Notes(), ElementsAre("own log level 0"));
}
