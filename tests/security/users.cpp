#include "tests/security/users.h"

#include <grp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

constexpr gid_t kNoGroup = 61000;

void Become(const User& user)
{
    const bool isOther = setgroups(user.others.size(), user.others.data()) == 0 &&
                         setresgid(user.group, user.group, user.group) == 0 &&
                         setresuid(user.id, user.id, user.id) == 0;
    if (!isOther) {
        _exit(126);
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // forgotten with each change of the user
}

}  // namespace

User Root()
{
    return {0, 0, {}};
}

User OwnersUser()
{
    return {61001, kNoGroup, {kConnectingGroup}};
}

User Member()
{
    return {61002, kNoGroup, {3, kConnectingGroup, 4}};
}

User HostileMember()
{
    return {61003, kConnectingGroup, {}};
}

User Stranger()
{
    return {61004, kNoGroup, {3, 4}};
}

std::string WhyNoOtherUsers()
{
    if (geteuid() != 0) {
        return "only root may become another user: run it as root, or in a user namespace "
               "(tests/security/in-user-namespace)";
    }
    const pid_t child = fork();
    if (child == 0) {
        Become(Stranger());
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status == 0 ? "" : "this user namespace has no other users";
}

int ResultAs(const User& user, const std::function<int()>& body)
{
    int ends[2];
    if (pipe(ends) != 0) {
        return -1;
    }
    const pid_t child = fork();
    if (child == 0) {
        Become(user);
        const int result = body();
        (void)!write(ends[1], &result, sizeof result);
        _exit(0);
    }
    close(ends[1]);
    int result = -1;
    if (read(ends[0], &result, sizeof result) != sizeof result) {
        result = -1;
    }
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return result;
}

UserProcess::UserProcess(const User& user, const Body& body)
{
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    process_ = fork();
    if (process_ == 0) {
        close(ends[0]);
        Become(user);
        body([&] {
            (void)!write(ends[1], "r", 1);
            close(ends[1]);
        });
        _exit(0);
    }
    close(ends[1]);
    char byte = 0;
    isReady_ = read(ends[0], &byte, 1) == 1;
    close(ends[0]);
}

UserProcess::~UserProcess()
{
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

bool UserProcess::IsRunning() const
{
    return waitpid(process_, nullptr, WNOHANG) == 0;
}

void UsersTest::SetUp()
{
    const std::string reason = WhyNoOtherUsers();
    if (!reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const group* const connecting = getgrnam(kConnectingGroupName);
    if (connecting == nullptr || connecting->gr_gid != kConnectingGroup) {
        GTEST_SKIP() << "no group " << kConnectingGroupName << " with the number 1";
    }
    chmod(Base().c_str(), 0755);
    fs::create_directory(Runtime());
    ASSERT_EQ(chown(Runtime().c_str(), OwnersUser().id, kConnectingGroup), 0);
    ASSERT_EQ(chmod(Runtime().c_str(), 02750), 0);
    setenv("OWNERLINK_RUNTIME_DIR", Runtime().c_str(), 1);
    setenv("OWNERLINK_GROUP", kConnectingGroupName, 1);
    setenv("OWNERLINK_LOG", "error", 1);
}
