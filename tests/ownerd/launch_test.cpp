// How an application is started, and what becomes of one that cannot be.
#include <elf.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "tests/ownerd/ownerd_test.h"

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

class LaunchTest : public OwnerdTest {
protected:
    // What the application "camera" has found around itself.
    static std::vector<std::string> Described()
    {
        EXPECT_TRUE(Eventually([] { return access(Path("described").c_str(), F_OK) == 0; }));
        return FileLines(Path("described"));
    }

    static std::string Describing(const std::string& keys)
    {
        return Entry("camera", Doing("describe=" + Path("described") + " stay") + keys);
    }

    // The first directory on the way to `path` that other users may not enter; empty: none.
    static std::string ClosedToOthers(const std::string& path)
    {
        std::filesystem::path way;
        for (const auto& part : std::filesystem::path(path)) {
            way /= part;
            const auto permissions = std::filesystem::status(way).permissions();
            if ((permissions & std::filesystem::perms::others_exec) ==
                std::filesystem::perms::none) {
                return way.string();
            }
        }
        return "";
    }

    // The application where every user reaches it: a build may lie in somebody's closed directory.
    static std::string ProgramForAll()
    {
        std::filesystem::copy_file(TEST_APPLICATION, Path("application"));
        chmod(Path("application").c_str(), 0755);
        return Path("application");
    }

    // A file of a program whose interpreter's name lies behind its end, where reading fails.
    static void WriteUnreadableProgram(const std::string& path)
    {
        Elf64_Ehdr header = {};
        std::memcpy(header.e_ident, ELFMAG, SELFMAG);
        header.e_ident[EI_CLASS] = ELFCLASS64;
        header.e_ident[EI_DATA] = ELFDATA2LSB;
        header.e_ident[EI_VERSION] = EV_CURRENT;
        header.e_type = ET_EXEC;
#if defined(__aarch64__)
        header.e_machine = EM_AARCH64;
#else
        header.e_machine = EM_X86_64;
#endif
        header.e_version = EV_CURRENT;
        header.e_phoff = sizeof header;
        header.e_ehsize = sizeof header;
        header.e_phentsize = sizeof(Elf64_Phdr);
        header.e_phnum = 1;
        Elf64_Phdr interpreter = {};
        interpreter.p_type = PT_INTERP;
        interpreter.p_offset = 1U << 20U;
        interpreter.p_filesz = 20;
        std::ofstream file(path, std::ios::binary);
        file.write(reinterpret_cast<const char*>(&header), sizeof header);
        file.write(reinterpret_cast<const char*>(&interpreter), sizeof interpreter);
        file.close();
        chmod(path.c_str(), 0755);
    }
};

}  // namespace

TEST_F(LaunchTest, GivesTheApplicationWhatItsConfigurationSays)
{
    Begin(
        Describing(", environment: {MODE: 'very fast'}, directory: /usr, "
                   "limits: {open-files: 77}, start: manual"));

    ASSERT_EQ(ChangeOne("camera", ProcMgr::START, {"one", "two words", ""}), "SUCCESS");

    const std::vector<std::string> lines = Described();
    EXPECT_THAT(lines, Contains("argument two words"));
    EXPECT_THAT(lines, Contains("argument "));
    EXPECT_THAT(lines, Contains("variable MODE=very fast"));
    EXPECT_THAT(lines, Contains("variable OWNERLINK_APP=camera"));
    EXPECT_THAT(lines, Contains(StartsWith("variable NOTIFY_SOCKET=@")));
    EXPECT_THAT(lines, Contains("directory /usr"));
    EXPECT_THAT(lines, Contains("files 77 77"));
    EXPECT_THAT(lines, Contains("session 1"));
}

TEST_F(LaunchTest, LeavesNoSignalBlockedAndNoDescriptorOpen)
{
    Begin(Describing(", output: 'null'"));

    ASSERT_EQ(StartOne("camera"), "SUCCESS");

    const std::vector<std::string> lines = Described();
    EXPECT_THAT(lines, Not(Contains(StartsWith("deaf to"))));
    EXPECT_THAT(lines, Not(Contains(StartsWith("open "))));
}

TEST_F(LaunchTest, HandsDynamicParametersOverInVariables)
{
    Begin(Describing(", inherit-environment: false"));
    AppInfo camera = App(APPMGR, "camera");
    camera.dynamicPara = {{1, {"left", "right"}}, {-3, {"x"}}};

    ASSERT_EQ(Change({camera}).code, kOk);

    const std::vector<std::string> lines = Described();
    EXPECT_THAT(lines, Contains("variable OWNERLINK_PARA_1_COUNT=2"));
    EXPECT_THAT(lines, Contains("variable OWNERLINK_PARA_1_0=left"));
    EXPECT_THAT(lines, Contains("variable OWNERLINK_PARA_1_1=right"));
    EXPECT_THAT(lines, Contains("variable OWNERLINK_PARA_N3_0=x"));
    EXPECT_THAT(lines, Not(Contains(StartsWith("variable PATH="))));
}

TEST_F(LaunchTest, ChangesUserAndGroupWhereItMay)
{
    const std::string map = FileText("/proc/self/uid_map");
    if (geteuid() != 0 || map.find("4294967295") == std::string::npos) {
        GTEST_SKIP() << "only the machine's root may change users";
    }
    chmod(WorldDirectory().c_str(), 0777);
    const std::string closed = ClosedToOthers(WorldDirectory());
    if (!closed.empty()) {
        GTEST_SKIP() << "no other user may enter " << closed;
    }
    Begin(Entry("camera", "command: [" + ProgramForAll() + ", 'describe=" + Path("described") +
                              "', stay], user: nobody"));

    ASSERT_EQ(StartOne("camera"), "SUCCESS");

    const std::vector<std::string> lines = Described();
    EXPECT_THAT(lines, Contains("user 65534 65534"));
    EXPECT_THAT(lines, Contains("group 65534 65534"));
    EXPECT_THAT(lines, Contains("variable USER=nobody"));
}

TEST_F(LaunchTest, SendsOutputWhereItIsToGo)
{
    Begin(Entry("file", Doing("print=to-the-file stay") + ", output: " + Path("output")) +
          Entry("log", Doing("print=to-the-log stay") + ", output: log") +
          Entry("inherit", Doing("print=to-the-owners stay")) +
          Entry("nothing", Doing("print=to-nobody stay") + ", output: 'null'"));

    ASSERT_EQ(SetState(ProcMgr::WORKING), kOk);

    EXPECT_TRUE(Eventually([] { return FileText(Path("output")) == "to-the-file\n"; }));
    EXPECT_TRUE(AwaitLogged("ownerlink-ownerd: log: to-the-log"));
    EXPECT_TRUE(AwaitLogged("to-the-owners"));
    EXPECT_EQ(Logged("to-nobody"), 0U);
}

TEST_F(LaunchTest, KeepsUpWithAnApplicationThatFloodsItsOutput)
{
    Begin(Entry("flood", Doing("flood") + ", output: log") + Entry("quiet", Doing("stay")));

    ASSERT_EQ(SetState(ProcMgr::WORKING), kOk);
    ASSERT_TRUE(AwaitLogged("flood: printed too fast, "));

    EXPECT_TRUE(IsRunning("quiet"));
    EXPECT_EQ(RestartOne("quiet"), "SUCCESS");
    EXPECT_EQ(StopOne("flood"), "SUCCESS");
    EXPECT_TRUE(IsRunning("quiet"));
}

TEST_F(LaunchTest, AnswersForAProgramThatIsNotThere)
{
    Begin(Entry("camera", "command: [/no/such/program], restart: always"));

    EXPECT_EQ(StartOne("camera"), "START_FAILED");
    EXPECT_EQ(RestartOne("camera"), "RESTART_FAILED");

    EXPECT_EQ(Logged("camera: failed: running its program: No such file or directory"), 2U);
}

TEST_F(LaunchTest, TellsAProgramThatCannotBeReadFromOthers)
{
    WriteUnreadableProgram(Path("unreadable"));
    Begin(Entry("camera", "command: [" + Path("unreadable") + "], restart: always"));

    EXPECT_EQ(StartOne("camera"), "START_FAILED_BY_EIO");
    EXPECT_EQ(RestartOne("camera"), "START_FAILED_BY_EIO");

    EXPECT_GE(Logged("camera: failed: running its program: Input/output error"), 1U);
}

TEST_F(LaunchTest, NamesTheStepThatHasFailed)
{
    Begin(Entry("a", Doing("stay") + ", directory: /no/such/directory") +
          Entry("b", Doing("stay") + ", output: /no/such/directory/file"));

    EXPECT_EQ(StartOne("a"), "START_FAILED");
    EXPECT_EQ(StartOne("b"), "START_FAILED");

    EXPECT_EQ(Logged("a: failed: changing to its directory: No such file or directory"), 1U);
    EXPECT_EQ(Logged("b: failed: opening its output: No such file or directory"), 1U);
}

TEST_F(LaunchTest, RefusesABadFileBeforeAnythingStarts)
{
    Write(Entry("camera", Doing("mark=" + Path("mark")) + ", restart: maybe"));
    Peer owner("/bin/sh", {"-c", "exec " OWNERD_PROGRAM " " + Path("owner.yaml") + " 2>&1"});

    const int status = owner.AwaitExit();

    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_TRUE(owner.Await("ownerlink-ownerd: error: " + Path("owner.yaml") +
                            ": applications.camera.restart: expected never, on-failure or "
                            "always, not \"maybe\""));
    EXPECT_NE(access(Path("mark").c_str(), F_OK), 0);
}

TEST_F(LaunchTest, NamesItselfAndItsHelpWhenItIsCalledWrongly)
{
    Peer owner("/bin/sh", {"-c", "exec " OWNERD_PROGRAM " --chek a.yaml 2>&1"});

    EXPECT_EQ(WEXITSTATUS(owner.AwaitExit()), 2);
    EXPECT_TRUE(owner.Await("ownerlink-ownerd: The following argument was not expected: --chek"));
    EXPECT_TRUE(owner.Await("Try \"ownerlink-ownerd --help\"."));
}

TEST_F(LaunchTest, SaysWhatKeepsItsResourceFromBeingPublished)
{
    Write(Entry("camera", Doing("mark=" + Path("mark"))));
    Peer owner("/bin/sh", {"-c", "OWNERLINK_RUNTIME_DIR=/nowhere/run exec " OWNERD_PROGRAM " " +
                                     Path("owner.yaml") + " 2>" + Path("errors")});

    EXPECT_EQ(WEXITSTATUS(owner.AwaitExit()), 1);
    EXPECT_THAT(FileText(Path("errors")),
                HasSubstr("/appmgr: another owner holds the name, or the runtime directory is not "
                          "this user's; syslog, or OWNERLINK_LOG=info, says which\n"));
}

TEST_F(LaunchTest, OnlyChecksWhenItIsAskedTo)
{
    Write(Entry("camera", Doing("mark=" + Path("mark"))));
    Peer owner(OWNERD_PROGRAM, {"--check", Path("owner.yaml")});

    const int status = owner.AwaitExit();

    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_TRUE(owner.Await(Path("owner.yaml") + ": good, 1 applications"));
    EXPECT_NE(access(Path("mark").c_str(), F_OK), 0);
}
