// A manager, the test process itself, and up to three owners of the usual configuration.
#ifndef OWNERLINK_TESTS_PROCESS_OWNERS_TEST_H
#define OWNERLINK_TESTS_PROCESS_OWNERS_TEST_H

#include <gmock/gmock.h>
#include <ownerlink/client.h>
#include <ownerlink/enum_text.h>

#include <future>
#include <memory>

#include "tests/process/manager_log.h"
#include "tests/process/peer.h"
#include "tests/process/world.h"

inline constexpr uint32_t kOk = 0;
inline constexpr uint32_t kStateBusy = 0xF10300;
inline constexpr uint32_t kStateFailed = 0xF10301;
inline constexpr uint32_t kChangeFailed = 0xF10303;
inline constexpr uint32_t kQueryFailed = 0xF1030D;

inline constexpr int kLongTimeOut = 60000;  // never meant to pass
inline constexpr int kShortTimeOut = 200;   // meant to pass

inline constexpr GroupOwner kGroups[] = {DATAMASTER, IAM, APPMGR};

std::string OwnerProgram();

// The owner follows the orders before it serves: a manager that watches verifies at once.
std::unique_ptr<Peer> StartOwnerOf(const std::string& resource, const Peer::Lines& orders = {});
std::unique_ptr<Peer> StartManager();

// An application as a change takes it.
AppInfo App(GroupOwner group, const std::string& name, uint32_t option = ProcMgr::START,
            std::vector<std::string> args = {});

struct ChangeOutcome {
    uint32_t code = 0;
    std::vector<std::string> results;  // "NAME STATE"
};
ChangeOutcome Change(const std::vector<AppInfo>& apps, int timeOut = kLongTimeOut);
uint32_t SetState(int state, int timeOut = kLongTimeOut);
std::future<uint32_t> BeginSetState(int state, int timeOut = kLongTimeOut);

class OwnersTest : public testing::Test {
protected:
    ~OwnersTest() override;

    void Start(GroupOwner group);  // also after a kill
    void StartAll();
    void KillAndStart(GroupOwner group);
    Peer& Owner(GroupOwner group) { return *owners_[group]; }
    void ForgetAll();

private:
    std::unique_ptr<Peer> owners_[3];
};

#endif
