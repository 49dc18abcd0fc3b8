// Several real users: processes that have become another, and what they find at an owner of one of
// them.
#ifndef OWNERLINK_TESTS_SECURITY_USERS_H
#define OWNERLINK_TESTS_SECURITY_USERS_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/hosted/world.h"

struct User {
    uid_t id;
    gid_t group;
    std::vector<gid_t> others;  // supplementary groups
};

inline constexpr gid_t kConnectingGroup = 1;  // "daemon" on every system
inline constexpr const char* kConnectingGroupName = "daemon";

// Users that no system has. All but the stranger may connect to what the owner's user publishes.
User Root();
User OwnersUser();
User Member();
User HostileMember();
User Stranger();

// Empty where this process may become each of them; else the reason why it may not.
std::string WhyNoOtherUsers();

// What `body` answers as `user`, in a process of its own. -1: it has not come to an answer.
int ResultAs(const User& user, const std::function<int()>& body);

// A process of another user that goes on until its object is gone.
class UserProcess {
public:
    // `body` is given what says that it is ready; it need not return.
    using Body = std::function<void(const std::function<void()>& ready)>;
    UserProcess(const User& user, const Body& body);
    ~UserProcess();
    UserProcess(const UserProcess&) = delete;
    UserProcess& operator=(const UserProcess&) = delete;

    pid_t Process() const { return process_; }
    bool IsRunning() const;
    bool HasSaidReady() const { return isReady_; }

private:
    pid_t process_ = -1;
    bool isReady_ = false;
};

// A base that is root's and open to all, and in it the runtime directory of the owner's user.
class UsersTest : public HostedTest {
protected:
    void SetUp() override;

    std::string Base() const { return directory_.Path(); }
    std::string Runtime() const { return Base() + "/run"; }
};

#endif
