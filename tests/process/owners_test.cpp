#include "tests/process/owners_test.h"

#include <cstdlib>
#include <filesystem>
#include <iostream>

std::string OwnerProgram()
{
    return TEST_OWNER;
}

std::unique_ptr<Peer> StartOwnerOf(const std::string& resource, const Peer::Lines& orders)
{
    Peer::Lines arguments = {resource};
    arguments.insert(arguments.end(), orders.begin(), orders.end());
    auto owner = std::make_unique<Peer>(TEST_OWNER, arguments);
    EXPECT_TRUE(owner->AwaitReady()) << "no owner for " << resource;
    return owner;
}

std::unique_ptr<Peer> StartManager()
{
    auto manager = std::make_unique<Peer>(TEST_MANAGER, Peer::Lines{});
    EXPECT_TRUE(manager->AwaitReady());
    return manager;
}

AppInfo App(GroupOwner group, const std::string& name, uint32_t option,
            std::vector<std::string> args)
{
    AppInfo app;
    app.groupOwner = group;
    app.appName = name;
    app.optionType = option;
    app.args = std::move(args);
    return app;
}

ChangeOutcome Change(const std::vector<AppInfo>& apps, int timeOut)
{
    std::vector<AppChangeInfo> result;
    ChangeOutcome outcome;
    outcome.code = OwnerlinkClient::GetInstance().ChangeAppState(apps, result, timeOut);
    for (const AppChangeInfo& change : result) {
        outcome.results.push_back(change.appName + ' ' + ProcMgr::GetAppState(change.state));
    }
    return outcome;
}

uint32_t SetState(int state, int timeOut)
{
    return OwnerlinkClient::GetInstance().SetSystemState(state, timeOut);
}

std::future<uint32_t> BeginSetState(int state, int timeOut)
{
    return std::async(std::launch::async, [=] { return SetState(state, timeOut); });
}

// What the processes logged says more than an expectation that was not met.
OwnersTest::~OwnersTest()
{
    if (!HasFailure()) {
        return;
    }
    for (const auto& entry : std::filesystem::directory_iterator(WorldDirectory())) {
        if (entry.path().extension() == ".log") {
            std::cout << "--- " << entry.path() << std::endl;
            const std::string tail = "tail -n 60 '" + entry.path().string() + "' | cut -c 1-240";
            [[maybe_unused]] const int status = std::system(tail.c_str());
        }
    }
}

void OwnersTest::Start(GroupOwner group)
{
    owners_[group] = StartOwnerOf(ResourceOf(group));
}

void OwnersTest::StartAll()
{
    for (const GroupOwner group : kGroups) {
        Start(group);
    }
}

void OwnersTest::KillAndStart(GroupOwner group)
{
    Owner(group).Kill();
    Start(group);
}

void OwnersTest::ForgetAll()
{
    for (const auto& owner : owners_) {
        owner->Forget();
    }
}
