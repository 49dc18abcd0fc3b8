// Whatever a resource is called, its files lie in the runtime directory and nowhere else.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <set>

#include "platform/ezcom.h"
#include "platform/hosted/endpoint_name.h"
#include "platform/iam_queue.h"
#include "tests/hosted/world.h"

namespace fs = std::filesystem;
using testing::IsEmpty;

namespace {

const std::vector<std::string> kNames = {
    ".",
    "..",
    "...",
    "/",
    "//",
    "../escape",
    "../../escape",
    "/../../../escape",
    "/tmp/escape",
    "./escape",
    "a/../../escape",
    "below/escape",
    "..\\escape",
    "%2e%2e%2fescape",
    ".hidden",
    "\x01\x1b[2J\n\r\t",
    "\xff\xfe\xc0\xae\xc0\xae",
    "~root",
    "$(touch escape)",
    "CON",
    "name.lock",
    "name.res",
    std::string(201, 'x'),
    std::string(4096, '/'),
    std::string(1365, '.') + "/../" + std::string(2000, 'y'),
};

std::string Shown(const testing::TestParamInfo<std::string>& info)
{
    return "Number" + std::to_string(info.index);
}

// All that lies below `directory`, but for the runtime directory's own content.
std::set<std::string> FilesBelow(const std::string& directory, const std::string& runtime)
{
    std::set<std::string> files;
    fs::recursive_directory_iterator entries(directory);
    for (const auto& entry : entries) {
        files.insert(entry.path());
        if (entry.path() == runtime) {
            entries.disable_recursion_pending();
        }
    }
    return files;
}

class ResourceNamed : public HostedTest, public testing::WithParamInterface<std::string> {
protected:
    void SetUp() override
    {
        fs::create_directories(base_ + "/above/run");
        chmod(runtime_.c_str(), 0750);
        ASSERT_EQ(chdir((base_ + "/above").c_str()), 0);
        setenv("OWNERLINK_RUNTIME_DIR", runtime_.c_str(), 1);
        before_ = FilesBelow(base_, runtime_);
    }
    void ExpectAllInTheDirectory() const
    {
        EXPECT_EQ(FilesBelow(base_, runtime_), before_);
        for (const auto& entry : fs::directory_iterator(runtime_)) {
            const bool isPlain = entry.symlink_status().type() == fs::file_type::regular ||
                                 entry.symlink_status().type() == fs::file_type::socket;
            EXPECT_TRUE(isPlain) << entry.path();
        }
        EXPECT_FALSE(fs::exists("/tmp/escape"));
    }

    const std::string base_ = directory_.Path();
    const std::string runtime_ = base_ + "/above/run";
    std::set<std::string> before_;
};

INSTANTIATE_TEST_SUITE_P(InOddWays, ResourceNamed, testing::ValuesIn(kNames), Shown);

int Accept(IamQfsMgrFile*)
{
    return 0;
}

}  // namespace

TEST_P(ResourceNamed, CannotLeaveTheDirectoryAsAFile)
{
    const IAMFileOps ops = {};
    const IAMServiceDesc desc = {GetParam().c_str(), &ops, 5000};

    EXPECT_EQ(Open(GetParam()), (CallResult{-1, ENOENT}));
    EXPECT_EQ(IAMRegisterService(&desc), 0);
    EXPECT_GE(Open(GetParam()).result, 0);

    ExpectAllInTheDirectory();
    EXPECT_TRUE(fs::exists(runtime_ + "/" + hosted::RecordFileName(GetParam())));
}

TEST_P(ResourceNamed, CannotLeaveTheDirectoryAsAQueue)
{
    const IAMQueueOps ops = {nullptr, nullptr, Accept, Accept, nullptr};
    const IAMQueueServiceDesc desc = {GetParam().c_str(), &ops, 5000, 0};

    EXPECT_EQ(IAMRegisterQueueService(&desc), 0);
    EXPECT_GE(Open(GetParam()).result, 0);

    ExpectAllInTheDirectory();
}

TEST_P(ResourceNamed, CannotLeaveTheDirectoryAsAPipe)
{
    EXPECT_EQ(EzcomConnectPipe(GetParam().c_str()), -ENOENT);
    const int listener = EzcomListen(GetParam().c_str());
    EXPECT_GE(listener, 0);
    EXPECT_GE(EzcomConnectPipe(GetParam().c_str()), 0);

    ExpectAllInTheDirectory();
    EXPECT_EQ(EzcomClosePipe(listener), 0);
}

class ResourceWithoutAName : public HostedTest {};

TEST_F(ResourceWithoutAName, OrWithTooLongAOneIsRefusedAndLeavesNothing)
{
    const std::string tooLong(4097, 'x');
    const IAMFileOps ops = {};
    const IAMServiceDesc nameless = {"", &ops, 5000};
    const IAMServiceDesc longNamed = {tooLong.c_str(), &ops, 5000};

    EXPECT_EQ(IAMRegisterService(&nameless), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(IAMRegisterService(&longNamed), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_EQ(EzcomListen(""), -EINVAL);
    EXPECT_EQ(EzcomListen(tooLong.c_str()), -ENAMETOOLONG);
    EXPECT_THAT(directory_.Files(), IsEmpty());
}
