// What `open` says of owners that are not there, not to be reached, or not to be understood.
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "platform/hosted/endpoint_name.h"
#include "platform/hosted/socket_address.h"
#include "tests/hosted/raw_peer.h"
#include "tests/hosted/world.h"

namespace fs = std::filesystem;
using testing::HasSubstr;
using OpenOf = HostedTest;

namespace {

constexpr uid_t kNobody = 65534;

std::string ErrorsOf(const std::function<void()>& action)
{
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

}  // namespace

TEST_F(OpenOf, ANameThatNobodyHasPublishedIsENOENT)
{
    EXPECT_EQ(Open("dp:/res/nobody"), (CallResult{-1, ENOENT}));
    EXPECT_EQ(Open(""), (CallResult{-1, ENOENT}));
}

TEST_F(OpenOf, ANameAboveTheLimitIsENAMETOOLONG)
{
    EXPECT_EQ(Open(std::string(4097, 'x')), (CallResult{-1, ENAMETOOLONG}));
}

TEST_F(OpenOf, ADeadOwnersLeftoverIsENOENT)
{
    OwnerProcess owner;
    owner.Kill();

    EXPECT_THAT(directory_.Files(), testing::Contains(hosted::RecordFileName(kName)));
    EXPECT_EQ(Open(), (CallResult{-1, ENOENT}));
}

TEST_F(OpenOf, ADeadOwnerIsSeenAtOnceThoughAConnectionWasKept)
{
    OwnerProcess owner;
    const int fd = OpenOrFail();
    EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{64, 0}));
    Close(fd);
    owner.Kill();

    EXPECT_EQ(Open(), (CallResult{-1, ENOENT}));
}

TEST_F(OpenOf, AnOwnerThatEndedWellLeavesNothingButItsLock)
{
    OwnerProcess owner;
    owner.Write("exit");
    EXPECT_EQ(owner.AwaitExit(), 0);

    EXPECT_THAT(directory_.Files(), testing::ElementsAre(hosted::LockFileName(kName)));
    EXPECT_EQ(Open(), (CallResult{-1, ENOENT}));
}

TEST_F(OpenOf, AnotherProtocolVersionIsEPROTO)
{
    OwnerProcess owner;
    const std::string path = directory_.Path() + "/" + hosted::RecordFileName(kName);
    {
        std::fstream record(path, std::ios::in | std::ios::out | std::ios::binary);
        record.seekp(8);
        const uint32_t version = 2;
        record.write(reinterpret_cast<const char*>(&version), sizeof version);
    }

    EXPECT_EQ(Open(), (CallResult{-1, EPROTO}));
}

TEST_F(OpenOf, ARecordWithALongerNameThanAnyIsEPROTO)
{
    const OwnerProcess owner;
    const std::string path = directory_.Path() + "/" + hosted::RecordFileName(kName);
    std::fstream record(path, std::ios::in | std::ios::out | std::ios::binary);
    const uint32_t nameSize = 4097;
    record.seekp(28);
    record.write(reinterpret_cast<const char*>(&nameSize), sizeof nameSize);
    record << std::string(nameSize, 'n');
    record.close();

    EXPECT_EQ(Open(), (CallResult{-1, EPROTO}));
}

TEST_F(OpenOf, ADamagedRecordIsEPROTO)
{
    OwnerProcess owner;
    const std::string path = directory_.Path() + "/" + hosted::RecordFileName(kName);
    for (const uintmax_t size : {0U, 7U, 31U, 33U}) {
        fs::resize_file(path, size);
        EXPECT_EQ(Open(), (CallResult{-1, EPROTO})) << size;
    }
}

TEST_F(OpenOf, ARecordThatIsALinkOrAPipeIsEACCES)
{
    const std::string path = directory_.Path() + "/" + hosted::RecordFileName(kName);
    fs::create_symlink("/etc/passwd", path);
    EXPECT_EQ(Open(), (CallResult{-1, EACCES}));
    fs::remove(path);
    mkfifo(path.c_str(), 0600);

    EXPECT_EQ(Open(), (CallResult{-1, EACCES}));
}

TEST_F(OpenOf, ADirectoryThatOthersMayWriteIsEACCESAndSaysWhich)
{
    OwnerProcess owner;
    chmod(directory_.Path().c_str(), 0770);
    CallResult result = {};

    const std::string log = ErrorsOf([&] { result = Open(); });

    EXPECT_EQ(result, (CallResult{-1, EACCES}));
    EXPECT_THAT(log, HasSubstr("runtime directory " + directory_.Path() +
                               " refused: mode 770 lets others write in it"));
}

TEST_F(OpenOf, ADirectoryThatIsALinkIsEACCES)
{
    const std::string real = directory_.Path() + "/real";
    const std::string link = directory_.Path() + "/link";
    fs::create_directory(real);
    fs::create_symlink(real, link);
    setenv("OWNERLINK_RUNTIME_DIR", (link + "/").c_str(), 1);

    EXPECT_EQ(Open(), (CallResult{-1, EACCES}));
}

TEST_F(OpenOf, AMissingDirectoryIsENOENTAndSaysWhichOnce)
{
    const std::string missing = directory_.Path() + "/missing";
    setenv("OWNERLINK_RUNTIME_DIR", missing.c_str(), 1);

    const std::string log = ErrorsOf([] {
        EXPECT_EQ(Open(), (CallResult{-1, ENOENT}));
        EXPECT_EQ(Open(), (CallResult{-1, ENOENT}));
    });

    EXPECT_THAT(log, HasSubstr("runtime directory " + missing + " is missing"));
    EXPECT_EQ(log.find("is missing"), log.rfind("is missing"));
}

TEST_F(OpenOf, AUserWhoMayNotEnterTheDirectoryGetsEACCES)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to become another user";
    }
    OwnerProcess owner;
    ASSERT_EQ(seteuid(kNobody), 0);

    EXPECT_EQ(Open(), (CallResult{-1, EACCES}));

    ASSERT_EQ(seteuid(0), 0);
}

TEST_F(OpenOf, AnOwnerRefusesAUserWhoIsNotOfTheGroupThoughTheFilesAdmitIt)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to become another user";
    }
    OwnerProcess owner;
    AdmitAllTo(directory_.Path());
    ASSERT_EQ(seteuid(kNobody), 0);
    const int fd = OpenOrFail();

    EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{-1, EACCES}));

    ASSERT_EQ(seteuid(0), 0);
    EXPECT_THAT(owner.Log(), HasSubstr("of user 65534 is not permitted"));
}

TEST_F(OpenOf, AnOwnerWhoMayNotPublishHereIsEACCES)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to become another user";
    }
    chmod(directory_.Path().c_str(), 0755);
    const std::string name = kName;
    {
        RawOwner owner(name);  // root's record, to be served by a stranger
        fs::remove(directory_.Path() + "/" + hosted::SocketFileName(owner.Instance()));
        ASSERT_EQ(chown(directory_.Path().c_str(), kNobody, 0), 0);
        ASSERT_EQ(seteuid(kNobody), 0);
        const auto listener = hosted::ListenAt(owner.Directory(), owner.Instance());
        ASSERT_TRUE(listener);
        ASSERT_EQ(seteuid(0), 0);
        ASSERT_EQ(chown(directory_.Path().c_str(), 0, 0), 0);

        EXPECT_EQ(Open(name), (CallResult{-1, EACCES}));
    }
}

TEST_F(OpenOf, AStoppedOwnerDoesNotHoldItUpAndItsExchangeTimesOut)
{
    OwnerProcess owner;
    owner.Stop();

    const int fd = OpenOrFail();

    IAMResetFileConfig(fd, 100);
    EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{-1, ETIMEDOUT}));
    owner.Signal(SIGCONT);
    IAMResetFileConfig(fd, -1);
    EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{64, 0}));
}

TEST_F(OpenOf, AFullBacklogIsETIMEDOUTAfterHalfASecond)
{
    RawOwner owner;
    std::vector<hosted::UniqueFd> waiting;
    while (true) {
        auto connected =
            hosted::ConnectTo(owner.Directory(), owner.Instance(), hosted::Deadline(50));
        if (!connected) {
            ASSERT_EQ(connected.error, ETIMEDOUT);
            break;
        }
        waiting.push_back(std::move(connected.value));
    }
    CallResult result = {};

    const int64_t elapsed = MillisecondsOf([&] { result = Open(); });

    EXPECT_EQ(result, (CallResult{-1, ETIMEDOUT}));
    EXPECT_GE(elapsed, 500);
    EXPECT_LT(elapsed, 20000);
}

TEST_F(OpenOf, ANameOf4000BytesWorks)
{
    const std::string name(4000, '/');
    OwnerProcess owner(name);
    ASSERT_EQ(owner.FirstLine(), "ready");

    EXPECT_EQ(Ioctl(OpenOrFail(name), kEcho), (CallResult{64, 0}));
}

TEST_F(OpenOf, TwoLongNamesThatDifferInTheLastByteAreTwoOwners)
{
    const std::string common(3999, 'x');
    OwnerProcess owner(common + "a");

    EXPECT_EQ(Open(common + "b"), (CallResult{-1, ENOENT}));
    EXPECT_EQ(owner.Tell("publish " + common + "b"), "ready");
    EXPECT_EQ(Ioctl(OpenOrFail(common + "b"), kEcho), (CallResult{64, 0}));
}

TEST_F(OpenOf, ARecordOfAnotherNameWithTheSameDigestIsENOENT)
{
    const std::string name(4000, 'y');
    OwnerProcess owner(name);
    const std::string path = directory_.Path() + "/" + hosted::RecordFileName(name);
    {
        std::fstream record(path, std::ios::in | std::ios::out | std::ios::binary);
        record.seekp(100);
        record.put('z');
    }

    EXPECT_EQ(Open(name), (CallResult{-1, ENOENT}));
}

TEST_F(OpenOf, ANameCannotLeaveTheDirectory)
{
    const std::string name = "../../" + fs::path(directory_.Path()).filename().string() + "-escape";
    OwnerProcess owner(name);
    ASSERT_EQ(owner.FirstLine(), "ready");

    EXPECT_EQ(Ioctl(OpenOrFail(name), kEcho), (CallResult{64, 0}));
    EXPECT_THAT(directory_.Files(), testing::Contains(hosted::RecordFileName(name)));
}

TEST_F(OpenOf, TheKernelsDescriptorsAreNotTouched)
{
    EXPECT_EQ(IAMFileOpen("/etc/passwd", O_RDONLY), -1);
    EXPECT_EQ(errno, ENOENT);
}
