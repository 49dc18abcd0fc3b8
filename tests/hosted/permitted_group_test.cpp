// The group that may connect, from a name service that answers as the test wants.
#include <grp.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <utility>

#include "platform/hosted/permitted_group.h"
#include "tests/hosted/world.h"

using namespace hosted;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr gid_t kNumber = 61005;

struct NameService {
    int error = 0;
    bool knowsTheGroup = true;
    size_t entryBytes = 0;  // what the group and its members take
    int asked = 0;
};

NameService nameService;

}  // namespace

extern "C" int __wrap_getgrnam_r(const char*, group* entry, char*, size_t size, group** found)
{
    ++nameService.asked;
    *found = nullptr;
    if (nameService.error != 0) {
        return nameService.error;
    }
    if (size < nameService.entryBytes) {
        return ERANGE;
    }
    entry->gr_gid = kNumber;
    *found = nameService.knowsTheGroup ? entry : nullptr;
    return 0;
}

namespace {

class ThePermittedGroup : public HostedTest {
protected:
    ThePermittedGroup()
    {
        nameService = {};
        testing::internal::CaptureStderr();
    }
    ~ThePermittedGroup() override { Log(); }

    std::string Log()
    {
        return std::exchange(isTaken_, true) ? "" : testing::internal::GetCapturedStderr();
    }

    static std::string Failure(const std::string& reason)
    {
        return std::string("group ") + GroupName() + " cannot be looked up: " + reason;
    }

    PermittedGroup group_;

private:
    bool isTaken_ = false;
};

}  // namespace

TEST_F(ThePermittedGroup, IsLookedUpOnceWhenItIsWanted)
{
    EXPECT_FALSE(group_.IsKnown());
    EXPECT_EQ(nameService.asked, 0);

    EXPECT_EQ(group_.Number(), kNumber);
    EXPECT_EQ(group_.Number(), kNumber);

    EXPECT_TRUE(group_.IsKnown());
    EXPECT_EQ(nameService.asked, 1);
}

TEST_F(ThePermittedGroup, MayHaveAnyNumberOfMembers)
{
    nameService.entryBytes = 1000000;

    EXPECT_EQ(group_.Number(), kNumber);

    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(ThePermittedGroup, IsGivenUpWhereItsEntryNeverEnds)
{
    nameService.entryBytes = SIZE_MAX;

    EXPECT_EQ(group_.Number(), std::nullopt);

    EXPECT_FALSE(group_.IsKnown());
    EXPECT_THAT(Log(), HasSubstr(Failure("Numerical result out of range")));
}

TEST_F(ThePermittedGroup, ThatDoesNotExistIsNotLookedForAgain)
{
    nameService.knowsTheGroup = false;

    EXPECT_EQ(group_.Number(), std::nullopt);
    EXPECT_EQ(group_.Number(), std::nullopt);

    EXPECT_TRUE(group_.IsKnown());
    EXPECT_EQ(nameService.asked, 1);
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(ThePermittedGroup, IsLookedUpAgainWhereTheNameServiceCouldNotAnswer)
{
    nameService.error = EMFILE;
    EXPECT_EQ(group_.Number(), std::nullopt);
    EXPECT_FALSE(group_.IsKnown());
    EXPECT_THAT(Log(), HasSubstr(Failure("Too many open files")));

    nameService.error = 0;

    EXPECT_EQ(group_.Number(), kNumber);
}
