// The owner's program as the group APPMGR of a configuration that names no other owner; the test's
// own process is the manager.
#ifndef OWNERLINK_TESTS_OWNERD_OWNERD_TEST_H
#define OWNERLINK_TESTS_OWNERD_OWNERD_TEST_H

#include <gmock/gmock.h>
#include <ownerlink/client.h>
#include <ownerlink/enum_text.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/process/owners_test.h"
#include "tests/process/peer.h"
#include "tests/process/world.h"

// Waits for a condition that must come true.
bool Eventually(const std::function<bool()>& condition);

bool IsAlive(pid_t pid);  // a zombie is not
std::string FileText(const std::string& path);
std::vector<std::string> FileLines(const std::string& path);

class OwnerdTest : public testing::Test {
protected:
    OwnerdTest();
    ~OwnerdTest() override;

    // A path of this test's own.
    static std::string Path(const std::string& name);
    // The command of an application that does what the words say.
    static std::string Doing(const std::string& words);
    // An application of the file: its name, and its keys as they stand between braces.
    static std::string Entry(const std::string& name, const std::string& keys);

    // Writes the file, with the keys that it needs, and starts the owner with it.
    void Begin(const std::string& applications, const std::string& globals = "");
    void Write(const std::string& applications, const std::string& globals = "");
    void Start();
    void StartAgain();  // after it has died
    Peer& Owner() { return *owner_; }
    void KillOwner();
    void SignalOwner(int signal) const;
    int EndOwner();  // by SIGTERM; its exit code, or -1

    // Lines of the owner's log that hold `text`.
    size_t Logged(const std::string& text) const;
    bool AwaitLogged(const std::string& text, size_t count = 1) const;

    // "SUCCESS" and the like for one application.
    static std::string ChangeOne(const std::string& name, uint32_t option,
                                 std::vector<std::string> args = {}, int timeOut = kLongTimeOut);
    static std::string StartOne(const std::string& name) { return ChangeOne(name, ProcMgr::START); }
    static std::string StopOne(const std::string& name) { return ChangeOne(name, ProcMgr::TERM); }
    static std::string RestartOne(const std::string& name)
    {
        return ChangeOne(name, ProcMgr::RESTART);
    }
    static AppStatus StatusOf(const std::string& name);
    static pid_t PidOf(const std::string& name) { return StatusOf(name).pid; }
    static bool IsRunning(const std::string& name);
    static bool AwaitRunning(const std::string& name);
    static bool AwaitNotRunning(const std::string& name);

private:
    std::unique_ptr<Peer> owner_;
};

#endif
