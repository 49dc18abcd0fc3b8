// What changes between a look and the use of what was looked at.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "tests/security/test_service.h"
#include "tests/security/treasure.h"

namespace fs = std::filesystem;

namespace {

constexpr int kRounds = 100;
constexpr Kind kKinds[] = {Kind::kFile, Kind::kQueue, Kind::kPipe};

// Puts a link to `target` in the place of whatever appears in `directory`.
void ReplaceByLinks(const std::string& directory, const std::string& target)
{
    const std::string link = directory + "/link";
    std::error_code ignored;
    while (true) {
        for (const auto& entry : fs::directory_iterator(directory, ignored)) {
            fs::create_symlink(target, link, ignored);
            fs::rename(link, entry.path(), ignored);
        }
    }
}

void SwapWithoutEnd(const std::string& left, const std::string& right)
{
    while (true) {
        renameat2(AT_FDCWD, left.c_str(), AT_FDCWD, right.c_str(), RENAME_EXCHANGE);
    }
}

class Race : public ServiceTest {
protected:
    void SetUp() override
    {
        ServiceTest::SetUp();
        setenv("OWNERLINK_LOG", "off", 1);
    }
};

}  // namespace

// Root publishes in a directory whose user replaces each file while that goes on.
TEST_F(Race, OfTheDirectorysUserWithRootTouchesNoFileOfRoots)
{
    const Treasure treasure(Base() + "/treasure");
    const UserProcess attacker(OwnersUser(), [&](const std::function<void()>& ready) {
        ready();
        ReplaceByLinks(Runtime(), treasure.Path());
    });
    for (int round = 0; round < kRounds; ++round) {
        const Kind kind = kKinds[round % 3];
        ResultAs(Root(), [=] { return PublishOf(kind); });

        ASSERT_NO_FATAL_FAILURE(treasure.ExpectUntouched());
        for (const auto& entry : fs::directory_iterator(Runtime())) {
            std::error_code ignored;
            fs::remove(entry.path(), ignored);
        }
    }
    EXPECT_TRUE(attacker.IsRunning());
}

// Anybody may rename what lies in a directory without the sticky bit.
TEST_F(Race, OfAStrangersDirectoryWithTheRightOneReachesNoServiceOfHis)
{
    const std::string open = Base() + "/open";
    const std::string right = open + "/ownerlink";
    const std::string theirs = open + "/theirs";
    for (const std::string& directory : {open, right, theirs}) {
        fs::create_directory(directory);
        ASSERT_EQ(chmod(directory.c_str(), 0755), 0);
    }
    ASSERT_EQ(chown(right.c_str(), OwnersUser().id, kConnectingGroup), 0);
    ASSERT_EQ(chown(theirs.c_str(), Stranger().id, kConnectingGroup), 0);
    setenv("OWNERLINK_RUNTIME_DIR", theirs.c_str(), 1);
    const UserProcess service(Stranger(), Serve);
    ASSERT_TRUE(service.HasSaidReady());
    AdmitAllTo(theirs);
    ASSERT_EQ(chmod(open.c_str(), 0777), 0);
    setenv("OWNERLINK_RUNTIME_DIR", right.c_str(), 1);
    const UserProcess attacker(Stranger(), [&](const std::function<void()>& ready) {
        ready();
        SwapWithoutEnd(right, theirs);
    });
    int refused = 0;

    for (int round = 0; round < kRounds; ++round) {
        const Kind kind = kKinds[round % 3];
        const int error = ResultAs(OwnersUser(), [=] { return UseOf(kind); });
        EXPECT_TRUE(error == ENOENT || error == EACCES) << error;
        refused += error == EACCES ? 1 : 0;
    }

    EXPECT_EQ(SharedCounts().Seen(), 0);
    EXPECT_GT(refused, 0);
}
