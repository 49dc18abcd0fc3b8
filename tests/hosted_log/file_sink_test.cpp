#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "platform/dlog.h"
#include "platform/hosted/log/levels.h"
#include "tests/hosted_log/log_world.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace hosted::log;

namespace {

class FileSinkTest : public LogWorld {
protected:
    static std::string Line(const std::string& text)
    {
        return "error client [" + Caller() + "] " + text;
    }

    static int Log(const std::string& text)
    {
        return DlogRecord(kClientModule, kError, "%s", text.c_str());
    }

    std::string Option(const std::string& name) const { return "file:" + Path(name); }

    std::vector<std::string> Names() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(Directory())) {
            names.push_back(entry.path().filename());
        }
        std::sort(names.begin(), names.end());
        return names;
    }
};

void LimitFiles(rlim_t bytes)
{
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &limit);
}

}  // namespace

TEST_F(FileSinkTest, WritesEachRecordAtOnce)
{
    Configure(Option("a.log"));

    EXPECT_EQ(Log("one"), 0);
    EXPECT_THAT(FileLines("a.log"), ElementsAre(Line("one")));

    EXPECT_EQ(DlogRecord(kServerModule | kMilestoneBit, kWarning, "two\t"), 0);
    EXPECT_THAT(FileLines("a.log"),
                ElementsAre(Line("one"), "warning server milestone [" + Caller() + "] two\\t"));
    EXPECT_EQ(StderrText(), "");
}

TEST_F(FileSinkTest, AppendsToWhatIsThereAndEndsATornLine)
{
    WriteFile(Path("a.log"), "whole\nto");
    Configure(Option("a.log"));

    Log("new");

    EXPECT_THAT(FileLines("a.log"), ElementsAre("whole", "to", Line("new")));
}

TEST_F(FileSinkTest, RotatesAndKeepsAsManyOldFilesAsAsked)
{
    Configure(Option("a.log") + ",size=1K,count=2");

    for (const char fill : {'1', '2', '3', '4'}) {
        EXPECT_EQ(Log(std::string(900, fill)), 0);
    }

    EXPECT_THAT(Names(), ElementsAre("a.1.log", "a.2.log", "a.log", "stderr"));
    EXPECT_THAT(FileLines("a.log"), ElementsAre(Line(std::string(900, '4'))));
    EXPECT_THAT(FileLines("a.1.log"), ElementsAre(Line(std::string(900, '3'))));
    EXPECT_THAT(FileLines("a.2.log"), ElementsAre(Line(std::string(900, '2'))));
}

TEST_F(FileSinkTest, NeverSplitsALineThatIsLargerThanTheFile)
{
    Configure(Option("a.log") + ",size=1K,count=1");

    Log(std::string(3000, 'x'));
    Log("next");

    EXPECT_THAT(FileLines("a.1.log"), ElementsAre(Line(std::string(3000, 'x'))));
    EXPECT_THAT(FileLines("a.log"), ElementsAre(Line("next")));
}

TEST_F(FileSinkTest, MakesARemovedFileAnew)
{
    Configure(Option("a.log"));
    Log("gone");
    ASSERT_EQ(unlink(Path("a.log").c_str()), 0);

    EXPECT_EQ(Log("here"), 0);

    EXPECT_THAT(FileLines("a.log"), ElementsAre(Line("here")));
}

TEST_F(FileSinkTest, LeavesAFileThatAnotherProgramHasRenamed)
{
    Configure(Option("a.log"));
    Log("old");
    ASSERT_EQ(rename(Path("a.log").c_str(), Path("moved").c_str()), 0);

    Log("new");

    EXPECT_THAT(FileLines("moved"), ElementsAre(Line("old")));
    EXPECT_THAT(FileLines("a.log"), ElementsAre(Line("new")));
}

// The line stands in docs/logging.md.
TEST_F(FileSinkTest, SaysAtOnceThatAFileCannotBeWrittenAndGoesOnTrying)
{
    Configure(Option("none/a.log"));

    EXPECT_EQ(Log("lost"), -1);
    EXPECT_EQ(StderrText(), "ownerlink: OWNERLINK_LOG: \"file:" + Path("none/a.log") +
                                "\": No such file or directory; records are lost until it can be "
                                "written\n");

    ASSERT_EQ(mkdir(Path("none").c_str(), 0700), 0);
    EXPECT_EQ(Log("found"), 0);
    EXPECT_THAT(
        FileLines("none/a.log"),
        ElementsAre("warning platform [" + Caller() + "] 1 records lost: No such file or directory",
                    Line("found")));
}

TEST_F(FileSinkTest, WritesToRegularFilesOnly)
{
    ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
    Configure(Option("fifo") + ",file:/dev/null");

    EXPECT_EQ(Log("lost"), -1);

    EXPECT_THAT(StderrText(), HasSubstr("fifo\": Invalid argument"));
    EXPECT_THAT(StderrText(), HasSubstr("\"file:/dev/null\": Invalid argument"));
    EXPECT_THAT(Names(), ElementsAre("fifo", "stderr"));
}

TEST_F(FileSinkTest, SurvivesAFullDiskAndReportsTheLoss)
{
    Configure(Option("a.log"));
    Log("before");
    const auto size = std::filesystem::file_size(Path("a.log"));

    LimitFiles(size + 10);
    EXPECT_EQ(Log("torn"), -1);
    EXPECT_EQ(Log("lost"), -1);
    LimitFiles(RLIM_INFINITY);
    EXPECT_EQ(Log("after"), 0);

    const auto lines = FileLines("a.log");
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0], Line("before"));
    EXPECT_EQ(lines[1].size(), 10U);
    EXPECT_EQ(lines[2], "warning platform [" + Caller() + "] 2 records lost: File too large");
    EXPECT_EQ(lines[3], Line("after"));
}

TEST_F(FileSinkTest, PutsTheProcessNumberIntoItsName)
{
    Configure(Option("a.%p.%p.log"));

    Log("x");

    const std::string pid = std::to_string(getpid());
    EXPECT_THAT(FileLines("a." + pid + "." + pid + ".log"), ElementsAre(Line("x")));
}

TEST_F(FileSinkTest, StaysWithItsFileWhenTheProgramChangesItsDirectory)
{
    ASSERT_EQ(chdir(Directory().c_str()), 0);
    Configure("file:a.log");
    ASSERT_EQ(CheckLogLevel(kClientModule, kError), 1);
    ASSERT_EQ(chdir("/"), 0);

    EXPECT_EQ(Log("x"), 0);

    EXPECT_THAT(FileLines("a.log"), ElementsAre(Line("x")));
}

TEST_F(FileSinkTest, StaysClosedInProgramsThatTheHostStarts)
{
    Configure(Option("a.log") + ",size=1K,count=1");
    Log(std::string(900, 'x'));
    Log(std::string(900, 'y'));

    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const auto target = std::filesystem::read_symlink(entry.path(), gone);
        if (!gone && target == Path("a.log")) {
            EXPECT_EQ(fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
            return;
        }
    }
    FAIL() << "the log file is not open";
}

TEST_F(FileSinkTest, EmptiesTheFileWhenTheOldOneCannotBeRenamed)
{
    ASSERT_EQ(mkdir(Path("a.1.log").c_str(), 0700), 0);
    WriteFile(Path("a.1.log/held"), "");
    Configure(Option("a.log") + ",size=1K,count=1");
    Log(std::string(900, 'x'));

    EXPECT_EQ(Log(std::string(900, 'y')), -1);
    EXPECT_EQ(Log("next"), 0);

    EXPECT_THAT(FileLines("a.log"), ElementsAre(HasSubstr("1 records lost: "), Line("next")));
}
