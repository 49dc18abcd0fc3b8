// What somebody who may write where a runtime directory lies, or in it, can make of that.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/hosted/endpoint_name.h"
#include "platform/hosted/endpoint_record.h"
#include "tests/hosted/raw_peer.h"
#include "tests/security/test_service.h"
#include "tests/security/treasure.h"

namespace fs = std::filesystem;
using namespace hosted;

namespace {

std::string NameOf(Kind kind)
{
    constexpr const char* kNames[] = {kFileName, kQueueName, kPipeName};
    return kNames[static_cast<int>(kind)];
}

int UseAs(const User& user, Kind kind)
{
    return ResultAs(user, [=] { return UseOf(kind); });
}

int PublishAs(const User& user, Kind kind)
{
    return ResultAs(user, [=] { return PublishOf(kind); });
}

class RuntimeDirectoryTrick : public ServiceTest, public testing::WithParamInterface<Kind> {
protected:
    void UseDirectory(const std::string& path) { setenv("OWNERLINK_RUNTIME_DIR", path.c_str(), 1); }
    // A directory as `user` would make one.
    static void MakeDirectory(const std::string& path, const User& user, mode_t mode)
    {
        ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
        ASSERT_EQ(chown(path.c_str(), user.id, kConnectingGroup), 0);
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
    }
    // Nobody publishes in the directory, and nobody who finds an owner in it believes that.
    void ExpectRefused()
    {
        EXPECT_EQ(PublishAs(Root(), GetParam()), EACCES);
        EXPECT_EQ(UseAs(Root(), GetParam()), EACCES);
        EXPECT_EQ(UseAs(Member(), GetParam()), EACCES);
        EXPECT_EQ(SharedCounts().Seen(), 0);
    }
    std::string LockPath() const { return Runtime() + "/" + LockFileName(NameOf(GetParam())); }
    std::string RecordPath() const { return Runtime() + "/" + RecordFileName(NameOf(GetParam())); }
    // Of the owner that is up.
    std::string SocketPath() const
    {
        uint64_t instance = 0;
        std::ifstream record(RecordPath(), std::ios::binary);
        record.seekg(16);
        record.read(reinterpret_cast<char*>(&instance), sizeof instance);
        return Runtime() + "/" + SocketFileName(instance);
    }
};

INSTANTIATE_TEST_SUITE_P(OfA, RuntimeDirectoryTrick,
                         testing::Values(Kind::kFile, Kind::kQueue, Kind::kPipe),
                         testing::PrintToStringParamName());

}  // namespace

TEST_P(RuntimeDirectoryTrick, ADirectoryThatIsALinkIsRefused)
{
    const std::string link = Base() + "/link";
    fs::create_directory_symlink(Runtime(), link);
    for (const char* const ending : {"", "/", "//"}) {
        UseDirectory(link + ending);

        ExpectRefused();
    }
    EXPECT_TRUE(fs::is_empty(Runtime()));
}

TEST_P(RuntimeDirectoryTrick, ADirectoryThatOthersMayWriteIsRefusedStickyOrNot)
{
    for (const mode_t mode : {02770U, 02757U, 03777U, 0777U}) {
        ASSERT_EQ(chmod(Runtime().c_str(), mode), 0);

        ExpectRefused();
    }
    EXPECT_TRUE(fs::is_empty(Runtime()));
}

// In /tmp anybody may make a directory of the expected name first.
TEST_P(RuntimeDirectoryTrick, AStrangersDirectoryWhereAnybodyMayPutOneIsRefused)
{
    const std::string open = Base() + "/tmp";
    MakeDirectory(open, Root(), 01777);
    UseDirectory(open + "/ownerlink");
    MakeDirectory(open + "/ownerlink", Stranger(), 02755);
    const UserProcess attacker(Stranger(), Serve);
    ASSERT_TRUE(attacker.HasSaidReady());
    AdmitAllTo(open + "/ownerlink");

    ExpectRefused();
}

TEST_P(RuntimeDirectoryTrick, AStrangersDirectoryBelowAnotherOfHisIsRefused)
{
    const std::string open = Base() + "/tmp";
    MakeDirectory(open, Root(), 01777);
    MakeDirectory(open + "/app", Stranger(), 0755);
    UseDirectory(open + "/app/ownerlink");
    MakeDirectory(open + "/app/ownerlink", Stranger(), 02755);
    const UserProcess attacker(Stranger(), Serve);
    ASSERT_TRUE(attacker.HasSaidReady());
    AdmitAllTo(open + "/app/ownerlink");

    ExpectRefused();
}

TEST_P(RuntimeDirectoryTrick, ADirectoryBelowAThirdUsersIsRefused)
{
    MakeDirectory(Base() + "/theirs", Stranger(), 0755);
    UseDirectory(Base() + "/theirs/ownerlink");
    MakeDirectory(Base() + "/theirs/ownerlink", OwnersUser(), 02750);

    ExpectRefused();
}

TEST_P(RuntimeDirectoryTrick, AUsersDirectoryInThatUsersOwnPlaceIsGood)
{
    MakeDirectory(Base() + "/place", OwnersUser(), 0755);
    UseDirectory(Base() + "/place/ownerlink");
    const UserProcess owner(OwnersUser(), Serve);  // makes it
    ASSERT_TRUE(owner.HasSaidReady());

    EXPECT_EQ(UseAs(Member(), GetParam()), 0);
    EXPECT_EQ(UseAs(Root(), GetParam()), 0);
}

TEST_P(RuntimeDirectoryTrick, OnesOwnDirectoryMayLieWhereOthersHaveTheirs)
{
    const std::string open = Base() + "/tmp";
    MakeDirectory(open, Root(), 01777);
    UseDirectory(open + "/ownerlink");
    const UserProcess owner(OwnersUser(), Serve);
    ASSERT_TRUE(owner.HasSaidReady());

    EXPECT_EQ(UseAs(OwnersUser(), GetParam()), 0);
    EXPECT_EQ(UseAs(Member(), GetParam()), EACCES);  // it could be anybody's
}

// The directory's user is the attacker now: root publishes in his directory.
TEST_P(RuntimeDirectoryTrick, ALockFileThatIsALinkIsNotFollowed)
{
    const Treasure treasure(Base() + "/treasure");
    fs::create_symlink(treasure.Path(), LockPath());
    EXPECT_EQ(PublishAs(Root(), GetParam()), EACCES);
    treasure.ExpectUntouched();

    fs::remove(LockPath());
    fs::create_symlink(Base() + "/made", LockPath());
    EXPECT_EQ(PublishAs(Root(), GetParam()), EACCES);
    EXPECT_FALSE(fs::exists(Base() + "/made"));
}

TEST_P(RuntimeDirectoryTrick, ALockFileThatIsAnotherNameOfRootsFileIsNotGivenAway)
{
    const Treasure treasure(Base() + "/treasure");
    fs::create_hard_link(treasure.Path(), LockPath());

    EXPECT_EQ(PublishAs(Root(), GetParam()), EACCES);

    treasure.ExpectUntouched();
}

TEST_P(RuntimeDirectoryTrick, ALockFileOfAStrangerOrNoneAtAllIsRefused)
{
    std::ofstream(LockPath()).close();
    ASSERT_EQ(chown(LockPath().c_str(), Stranger().id, 0), 0);
    EXPECT_EQ(PublishAs(Root(), GetParam()), EACCES);

    fs::remove(LockPath());
    ASSERT_EQ(mkfifo(LockPath().c_str(), 0666), 0);
    EXPECT_EQ(PublishAs(Root(), GetParam()), EACCES);

    fs::remove(LockPath());
    fs::create_directory(LockPath());
    EXPECT_EQ(PublishAs(Root(), GetParam()), EISDIR);
}

TEST_P(RuntimeDirectoryTrick, WhatRootPublishesThereTheDirectorysUserMayPublishAfterwards)
{
    ASSERT_EQ(PublishAs(Root(), GetParam()), 0);

    EXPECT_EQ(PublishAs(OwnersUser(), GetParam()), 0);
}

TEST_P(RuntimeDirectoryTrick, ARecordThatIsALinkIsReplacedAndNotFollowed)
{
    const Treasure treasure(Base() + "/treasure");
    fs::create_symlink(treasure.Path(), RecordPath());
    EXPECT_EQ(UseAs(Root(), GetParam()), EACCES);

    EXPECT_EQ(PublishAs(Root(), GetParam()), 0);

    treasure.ExpectUntouched();
    EXPECT_FALSE(fs::is_symlink(RecordPath()));
}

TEST_P(RuntimeDirectoryTrick, ARecordThatOthersMayWriteOrThatIsAStrangersIsRefused)
{
    const UserProcess owner(OwnersUser(), Serve);
    ASSERT_TRUE(owner.HasSaidReady());

    chmod(RecordPath().c_str(), 0662);
    EXPECT_EQ(UseAs(Member(), GetParam()), EACCES);
    chmod(RecordPath().c_str(), 0640);
    EXPECT_EQ(UseAs(Member(), GetParam()), 0);
    ASSERT_EQ(chown(RecordPath().c_str(), Stranger().id, kConnectingGroup), 0);
    EXPECT_EQ(UseAs(Member(), GetParam()), EACCES);
}

// The other end would be root's, whom a client believes.
TEST_P(RuntimeDirectoryTrick, AnEndpointThatIsALinkToAnotherServiceOfRootsIsNotFollowed)
{
    const UserProcess owner(OwnersUser(), Serve);
    ASSERT_TRUE(owner.HasSaidReady());
    const std::string other = Base() + "/other";
    const int listener = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    other.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 8), 0);
    const std::string socketPath = SocketPath();
    fs::remove(socketPath);
    fs::create_symlink(other, socketPath);

    EXPECT_EQ(UseAs(Root(), GetParam()), EACCES);

    EXPECT_EQ(accept(listener, nullptr, nullptr), -1);
    EXPECT_EQ(errno, EAGAIN);  // nobody has come
    close(listener);
}

TEST_P(RuntimeDirectoryTrick, AnEndpointThatIsNoSocketIsRefused)
{
    const UserProcess owner(OwnersUser(), Serve);
    ASSERT_TRUE(owner.HasSaidReady());
    const std::string socketPath = SocketPath();

    fs::remove(socketPath);
    ASSERT_EQ(mkfifo(socketPath.c_str(), 0666), 0);
    EXPECT_EQ(UseAs(Root(), GetParam()), EACCES);
    fs::remove(socketPath);
    const Treasure treasure(Base() + "/treasure");
    fs::create_hard_link(treasure.Path(), socketPath);
    EXPECT_EQ(UseAs(Root(), GetParam()), EACCES);
    treasure.ExpectUntouched();
    fs::remove(socketPath);
    EXPECT_EQ(UseAs(Root(), GetParam()), ENOENT);
}
