// The owner's user, root and the members of the connecting group are served; everybody else gets
// EACCES, and no hook of the owner's ever knows.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "tests/security/test_service.h"

namespace {

class WhoMayConnect : public ServiceTest, public testing::WithParamInterface<Kind> {
protected:
    static int UseAs(const User& user)
    {
        return ResultAs(user, [] { return UseOf(GetParam()); });
    }
    static int PublishAs(const User& user)
    {
        return ResultAs(user, [] { return PublishOf(GetParam()); });
    }
};

// What the call that the owner's own look ends fails with. A pipe is connected before it is
// accepted, and sees its end.
int RefusedByOwner(Kind kind)
{
    return kind == Kind::kPipe ? EPIPE : EACCES;
}

INSTANTIATE_TEST_SUITE_P(ToA, WhoMayConnect,
                         testing::Values(Kind::kFile, Kind::kQueue, Kind::kPipe),
                         testing::PrintToStringParamName());

}  // namespace

TEST_P(WhoMayConnect, TheOwnersUserRootAndTheGroupAreServed)
{
    const UserProcess owner(OwnersUser(), Serve);
    ASSERT_TRUE(owner.HasSaidReady());

    EXPECT_EQ(UseAs(OwnersUser()), 0);
    EXPECT_EQ(UseAs(Root()), 0);
    EXPECT_EQ(UseAs(Member()), 0);         // by a supplementary group
    EXPECT_EQ(UseAs(HostileMember()), 0);  // by its primary one
}

TEST_P(WhoMayConnect, AStrangerGetsEACCESAndNoHookRuns)
{
    const UserProcess owner(OwnersUser(), Serve);
    ASSERT_TRUE(owner.HasSaidReady());

    EXPECT_EQ(UseAs(Stranger()), EACCES);

    EXPECT_EQ(SharedCounts().Seen(), 0);
}

TEST_P(WhoMayConnect, AStrangerWhomTheFilesAdmitIsRefusedByTheOwnerAndNoHookRuns)
{
    const UserProcess owner(OwnersUser(), Serve);
    ASSERT_TRUE(owner.HasSaidReady());
    AdmitAllTo(Runtime());

    EXPECT_EQ(UseAs(Stranger()), RefusedByOwner(GetParam()));

    EXPECT_EQ(SharedCounts().Seen(), 0);
    EXPECT_EQ(UseAs(Member()), 0);
}

TEST_P(WhoMayConnect, AMemberWhoHasLeftTheGroupIsAStranger)
{
    const UserProcess owner(OwnersUser(), Serve);
    ASSERT_TRUE(owner.HasSaidReady());
    User former = Member();
    former.others = {};

    EXPECT_EQ(UseAs(former), EACCES);

    EXPECT_EQ(SharedCounts().Seen(), 0);
}

TEST_P(WhoMayConnect, WithoutAConnectingGroupMembersAreStrangers)
{
    setenv("OWNERLINK_GROUP", "no-such-group", 1);
    const UserProcess owner(OwnersUser(), Serve);
    ASSERT_TRUE(owner.HasSaidReady());

    EXPECT_EQ(UseAs(Member()), RefusedByOwner(GetParam()));  // the files are still the group's

    EXPECT_EQ(SharedCounts().Seen(), 0);
    EXPECT_EQ(UseAs(OwnersUser()), 0);
}

TEST_P(WhoMayConnect, ADirectoryThatRootsOwnerMakesIsForTheGroup)
{
    const std::string made = Base() + "/made";
    setenv("OWNERLINK_RUNTIME_DIR", made.c_str(), 1);
    const UserProcess owner(Root(), Serve);
    ASSERT_TRUE(owner.HasSaidReady());
    struct stat status = {};

    ASSERT_EQ(stat(made.c_str(), &status), 0);
    EXPECT_EQ(status.st_gid, kConnectingGroup);
    EXPECT_EQ(UseAs(Member()), 0);
    EXPECT_EQ(UseAs(Stranger()), EACCES);
}

TEST_P(WhoMayConnect, MembersAndStrangersMayNotPublish)
{
    EXPECT_EQ(PublishAs(Member()), EACCES);
    EXPECT_EQ(PublishAs(Stranger()), EACCES);

    EXPECT_EQ(PublishAs(OwnersUser()), 0);
    EXPECT_EQ(PublishAs(Root()), 0);
}
