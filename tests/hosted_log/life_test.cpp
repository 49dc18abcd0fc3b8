#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <set>
#include <thread>

#include "platform/dlog.h"
#include "platform/hosted/log/levels.h"
#include "tests/hosted_log/log_world.h"

using testing::ElementsAre;
using testing::IsEmpty;
using namespace hosted::log;

namespace {

constexpr int kThreads = 8;
constexpr int kRecordsEach = 200;

class LifeTest : public LogWorld {
protected:
    static std::string Line(const std::string& text)
    {
        return "error client [" + Caller() + "] " + text;
    }

    // Runs `body` in a forked child, which must end by itself with the code 0; its process number.
    static std::string InChild(const std::function<void()>& body)
    {
        const pid_t child = fork();
        if (child == 0) {
            alarm(20);
            body();
            _exit(0);
        }
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
        return std::to_string(child);
    }

    static std::string LineOf(const std::string& pid, const std::string& text)
    {
        const std::string caller = Caller();
        return "error client [" + pid + ':' + pid + caller.substr(caller.find(' ')) + "] " + text;
    }
};

void LogFromManyThreads()
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            for (int record = 0; record < kRecordsEach; ++record) {
                CheckLogLevel(kClientModule, kError);
                DlogRecord(kClientModule, kError, "%d/%d", thread, record);
                DlogFlush();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

std::set<std::string> Texts(const std::vector<std::string>& lines)
{
    std::set<std::string> texts;
    for (const std::string& line : lines) {
        texts.insert(line.substr(line.find("] ") + 2));
    }
    return texts;
}

}  // namespace

TEST_F(LifeTest, LosesAndMixesNothingAmongManyThreads)
{
    Configure("stderr,syslog,file:" + Path("a.log"));

    LogFromManyThreads();

    const size_t all = kThreads * kRecordsEach;
    EXPECT_EQ(StderrLines().size(), all);
    EXPECT_EQ(Texts(StderrLines()).size(), all);
    EXPECT_EQ(Texts(FileLines("a.log")), Texts(StderrLines()));
    EXPECT_EQ(SyslogCalls().size(), all);
}

TEST_F(LifeTest, LosesNothingWhenManyThreadsRotateTheFile)
{
    Configure("file:" + Path("a.log") + ",size=4K,count=1000");

    LogFromManyThreads();

    size_t lines = FileLines("a.log").size();
    for (int old = 1; old <= 1000; ++old) {
        lines += FileLines("a." + std::to_string(old) + ".log").size();
    }
    EXPECT_EQ(lines, static_cast<size_t>(kThreads * kRecordsEach));
}

TEST_F(LifeTest, SendsAForkedChildToAFileOfItsOwn)
{
    Configure("file:" + Path("a.log"));
    DlogRecord(kClientModule, kError, "parent");

    const std::string child = InChild([] { DlogRecord(kClientModule, kError, "child"); });
    DlogRecord(kClientModule, kError, "parent again");

    EXPECT_THAT(FileLines("a.log"), ElementsAre(Line("parent"), Line("parent again")));
    EXPECT_THAT(FileLines("a.log." + child), ElementsAre(LineOf(child, "child")));
}

TEST_F(LifeTest, PutsTheChildsNumberIntoANameThatAsksForIt)
{
    Configure("file:" + Path("a.%p"));
    DlogRecord(kClientModule, kError, "parent");

    const std::string child = InChild([] { DlogRecord(kClientModule, kError, "child"); });

    EXPECT_THAT(FileLines("a." + std::to_string(getpid())), ElementsAre(Line("parent")));
    EXPECT_THAT(FileLines("a." + child), ElementsAre(LineOf(child, "child")));
}

TEST_F(LifeTest, MakesNoFileForAChildThatDoesNotLog)
{
    Configure("file:" + Path("a.log"));
    DlogRecord(kClientModule, kError, "parent");

    const std::string child = InChild([] {});

    EXPECT_NE(access(Path("a.log." + child).c_str(), F_OK), 0);
}

TEST_F(LifeTest, ForksWhileAnotherThreadLogs)
{
    Configure("stderr");
    std::atomic<bool> stop{false};
    std::thread busy([&] {
        while (!stop) {
            DlogRecord(kClientModule, kError, "busy");
        }
    });

    for (int round = 0; round < 20; ++round) {
        InChild([] { DlogRecord(kServerModule, kError, "child"); });
    }
    stop = true;
    busy.join();

    const auto lines = StderrLines();
    EXPECT_EQ(
        std::count_if(lines.begin(), lines.end(),
                      [](const std::string& line) { return line.find("error server [") == 0; }),
        20);
}

TEST_F(LifeTest, WritesRecordsOfDestructorsAtExit)
{
    Configure("stderr,file:" + Path("a.log"));

    ASSERT_EQ(std::system(LATE_LOGGER), 0);

    const auto texts = [](const std::vector<std::string>& lines) {
        std::vector<std::string> all;
        for (const std::string& line : lines) {
            all.push_back(line.substr(line.find("] ") + 2));
        }
        return all;
    };
    const auto expected =
        ElementsAre("main", "exit handler", "built after the log", "built before the log");
    EXPECT_THAT(texts(StderrLines()), expected);
    EXPECT_THAT(texts(FileLines("a.log")), expected);
}

TEST_F(LifeTest, ReadsTheVariableInOneOfManyFirstThreads)
{
    Configure("blue,stderr");

    LogFromManyThreads();

    const auto lines = StderrLines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(),
                         "ownerlink: OWNERLINK_LOG: \"blue\": is neither a level nor a sink; "
                         "ignored"),
              1);
}
