// Who may publish a name, and where.
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <mutex>
#include <utility>

#include "platform/hosted/endpoint_name.h"
#include "tests/hosted/raw_peer.h"
#include "tests/hosted/world.h"

namespace fs = std::filesystem;
using testing::HasSubstr;

namespace {

using Registration = HostedTest;

std::string FailedWith(int error)
{
    return "failed " + std::to_string(error);
}

int Register(const IAMServiceDesc& desc)
{
    errno = 0;
    return IAMRegisterService(&desc);
}

std::mutex hooksMutex;
std::string hooksThatRan;
std::atomic<int> refusals{0};  // of the open hook, from now on

int Tell(const std::string& hook, int answer)
{
    const std::lock_guard<std::mutex> lock(hooksMutex);
    hooksThatRan += hook + ' ';
    return answer;
}

std::string TakeHooks()
{
    const std::lock_guard<std::mutex> lock(hooksMutex);
    return std::exchange(hooksThatRan, {});
}

IAMFileOps OpsThatTell()
{
    IAMFileOps ops = {};
    ops.ioctl = [](IAMMgrFile*, unsigned int, IAMIoctlArg*) {
        return Tell("ioctl", 42);
    };
    ops.open = [](IAMMgrFile*) {
        return Tell("open", refusals-- > 0 ? -5 : 0);
    };
    ops.close = [](IAMMgrFile*) {
        return Tell("close", 0);
    };
    return ops;
}

}  // namespace

TEST_F(Registration, OfANameThatALivingProcessHoldsIsRefused)
{
    OwnerProcess first;
    OwnerProcess second;

    EXPECT_EQ(second.FirstLine(), FailedWith(EADDRINUSE));
    EXPECT_THAT(second.Log(), HasSubstr("resource dp:/res/test/owner is published by process " +
                                        std::to_string(first.Process()) + " already"));
    EXPECT_EQ(Ioctl(OpenOrFail(), kEcho), (CallResult{64, 0}));
}

TEST_F(Registration, OfANameThatTheProcessItselfHoldsIsRefused)
{
    OwnerProcess owner;

    EXPECT_EQ(owner.Tell(std::string("publish ") + kName), FailedWith(EADDRINUSE));
    OwnerProcess other;
    EXPECT_EQ(other.FirstLine(), FailedWith(EADDRINUSE));  // the lock has not been lost
}

TEST_F(Registration, OfAStoppedOwnersNameIsRefused)
{
    OwnerProcess owner;
    owner.Stop();

    EXPECT_EQ(OwnerProcess().FirstLine(), FailedWith(EADDRINUSE));
}

TEST_F(Registration, TakesOverAStaleSocketAndRecord)
{
    uint64_t staleInstance = 0;
    {
        RawOwner stale;
        staleInstance = stale.Instance();
    }
    OwnerProcess owner;
    ASSERT_EQ(owner.FirstLine(), "ready");

    EXPECT_EQ(Ioctl(OpenOrFail(), kEcho), (CallResult{64, 0}));
    EXPECT_THAT(directory_.Files(),
                testing::Not(testing::Contains(hosted::SocketFileName(staleInstance))));
}

TEST_F(Registration, OfSeveralNamesServesEach)
{
    OwnerProcess owner;
    EXPECT_EQ(owner.Tell("publish dp:/res/test/second"), "ready");

    EXPECT_EQ(Ioctl(OpenOrFail(), kEcho), (CallResult{64, 0}));
    EXPECT_EQ(Ioctl(OpenOrFail("dp:/res/test/second"), kEcho), (CallResult{64, 0}));
}

TEST_F(Registration, WithoutNameOrHooksIsRefused)
{
    const IAMFileOps ops = {};

    EXPECT_EQ(IAMRegisterService(nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(Register({nullptr, &ops, 5000}), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(Register({"", &ops, 5000}), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(Register({"x", nullptr, 5000}), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(Register({std::string(4097, 'x').c_str(), &ops, 5000}), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST_F(Registration, CopiesWhatItIsGiven)
{
    std::string name = "dp:/res/test/copied";
    IAMFileOps ops = {};
    ops.ioctl = [](IAMMgrFile*, unsigned int, IAMIoctlArg*) {
        return 42;
    };
    ops.open = [](IAMMgrFile*) {
        return 0;
    };
    ASSERT_EQ(Register({name.c_str(), &ops, 5000}), 0);
    name.assign(name.size(), 'x');
    ops = {};

    EXPECT_EQ(Ioctl(OpenOrFail("dp:/res/test/copied"), 1), (CallResult{42, 0}));
}

TEST_F(Registration, OfANullHookMakesItOneThatFails)
{
    IAMFileOps ops = {};
    ASSERT_EQ(Register({"no-open", &ops, 5000}), 0);
    ops.open = [](IAMMgrFile*) {
        return 0;
    };
    ASSERT_EQ(Register({"no-ioctl", &ops, 5000}), 0);
    std::string buffer(4, '\0');

    EXPECT_EQ(Ioctl(OpenOrFail("no-open"), 1), (CallResult{-1, EIO}));
    EXPECT_EQ(Ioctl(OpenOrFail("no-ioctl"), 1), (CallResult{-1, EREMOTEIO}));
    EXPECT_EQ(ReadInTheEnd(OpenOrFail("no-ioctl"), buffer), (CallResult{-1, EREMOTEIO}));
}

TEST_F(Registration, WithAnOpenHookThatRefusesServesNoMessageOfTheFileAndClosesIt)
{
    refusals = 1;
    const IAMFileOps ops = OpsThatTell();
    ASSERT_EQ(Register({"refuses", &ops, 5000}), 0);
    std::string buffer(4, '\0');
    const int refused = OpenOrFail("refuses");

    EXPECT_EQ(Ioctl(refused, 1), (CallResult{-1, EIO}));
    EXPECT_EQ(Ioctl(refused, 1), (CallResult{-1, EIO}));
    EXPECT_EQ(ReadInTheEnd(refused, buffer), (CallResult{-1, EIO}));
    EXPECT_EQ(TakeHooks(), "open close ");

    Close(refused);
    EXPECT_EQ(Ioctl(OpenOrFail("refuses"), 1), (CallResult{42, 0}));
    EXPECT_EQ(TakeHooks(), "open ioctl ");
}

TEST_F(Registration, OfAReadHookCountsWhatItReturnsAndNotItsOutArgument)
{
    IAMFileOps ops = {};
    ops.open = [](IAMMgrFile*) {
        return 0;
    };
    ops.read = [](IAMMgrFile*, char* bytes, unsigned long, long* out) {
        bytes[0] = 'r';
        *out = 3;
        return 1L;
    };
    ASSERT_EQ(Register({"reads", &ops, 5000}), 0);
    std::string buffer(4, '.');

    EXPECT_EQ(ReadInTheEnd(OpenOrFail("reads"), buffer), (CallResult{1, 0}));
    EXPECT_EQ(buffer, "r...");
}

TEST_F(Registration, MakesTheDirectoryForItsUserAndGroup)
{
    const std::string path = directory_.Path() + "/made";
    setenv("OWNERLINK_RUNTIME_DIR", path.c_str(), 1);
    OwnerProcess owner;
    ASSERT_EQ(owner.FirstLine(), "ready");
    struct stat status = {};

    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 02750U);
    for (const auto& entry : fs::directory_iterator(path)) {
        if (entry.path().extension() == ".sock") {
            ASSERT_EQ(stat(entry.path().c_str(), &status), 0);
            EXPECT_EQ(status.st_mode & 07777U, 0660U);
        }
    }
}

TEST_F(Registration, WhereTheDirectoryCannotBeMadeSaysWhich)
{
    const std::string path = directory_.Path() + "/missing/below";
    setenv("OWNERLINK_RUNTIME_DIR", path.c_str(), 1);
    OwnerProcess owner;

    EXPECT_EQ(owner.FirstLine(), FailedWith(ENOENT));
    EXPECT_THAT(owner.Log(), HasSubstr("runtime directory " + path +
                                       " is missing and cannot be made: No such file"));
}

TEST_F(Registration, WithoutAnyDirectorySaysWhatToSet)
{
    if (geteuid() == 0) {
        GTEST_SKIP() << "root has /run/ownerlink";
    }
    unsetenv("OWNERLINK_RUNTIME_DIR");
    unsetenv("XDG_RUNTIME_DIR");
    const IAMFileOps ops = {};

    EXPECT_EQ(Register({"x", &ops, 5000}), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Registration, WhereTheDirectoryIsNotWritableSaysWhich)
{
    chmod(directory_.Path().c_str(), 0755);
    if (geteuid() == 0) {
        ASSERT_EQ(seteuid(65534), 0);  // may look, but not publish
    } else {
        chmod(directory_.Path().c_str(), 0550);
    }
    const IAMFileOps ops = {};
    testing::internal::CaptureStderr();

    EXPECT_EQ(Register({"x", &ops, 5000}), -1);
    EXPECT_EQ(errno, EACCES);

    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("runtime directory " + directory_.Path()));
    if (getuid() == 0) {
        ASSERT_EQ(seteuid(0), 0);
    }
}

TEST_F(Registration, InADirectoryThatOthersMayWriteIsRefused)
{
    chmod(directory_.Path().c_str(), 0777);

    EXPECT_EQ(OwnerProcess().FirstLine(), FailedWith(EACCES));
}
