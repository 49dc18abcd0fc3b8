// What the library writes to syslog in the owner's process.
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "tests/ownerd/ownerd_test.h"

namespace {

// A /dev of this test's own, with the machine's devices and a log that the test reads.
class LogMaskTest : public OwnerdTest {
protected:
    LogMaskTest()
    {
        const std::string devices = Path("dev");
        std::filesystem::create_directory(devices);
        EXPECT_EQ(mount("/dev", devices.c_str(), nullptr, MS_BIND | MS_REC, nullptr), 0);
        EXPECT_EQ(mount("tmpfs", "/dev", "tmpfs", 0, "mode=755"), 0);
        for (const auto& entry : std::filesystem::directory_iterator(devices)) {
            if (entry.path().filename() != "log") {
                std::filesystem::create_symlink(entry.path(), "/dev" / entry.path().filename());
            }
        }
        log_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, "/dev/log");
        EXPECT_EQ(bind(log_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }

    ~LogMaskTest() override
    {
        close(log_);
        umount2("/dev", MNT_DETACH);
        umount2(Path("dev").c_str(), MNT_DETACH);
    }

    // How many records hold the text, of those that have been written.
    size_t Written(const std::string& text) const
    {
        size_t count = 0;
        char buffer[8192];
        ssize_t size = 0;
        while ((size = recv(log_, buffer, sizeof buffer, MSG_DONTWAIT)) > 0) {
            const std::string record(buffer, static_cast<size_t>(size));
            count += record.find(text) != std::string::npos ? 1 : 0;
        }
        return count;
    }

private:
    int log_ = -1;
};

const char* const kEvents = "event-resource: dp:/res/pm/sys_event\n";
const char* const kQuery = "QueryAppState callback end";

}  // namespace

TEST_F(LogMaskTest, LetsAllPassWhereTheFileSaysNothing)
{
    Begin(Entry("camera", Doing("stay")), kEvents);

    StatusOf("camera");

    EXPECT_EQ(Written(kQuery), 1U);
}

TEST_F(LogMaskTest, KeepsLessSevereRecordsBack)
{
    Begin(Entry("camera", Doing("stay")), std::string(kEvents) + "log-mask: warning\n");

    StatusOf("camera");
    EXPECT_EQ(Written(kQuery), 0U);

    SetState(ProcMgr::WORKING);
    EXPECT_EQ(Written("SetSystemStateHandle with timeout callback end"), 1U);
}

TEST_F(LogMaskTest, ChangesWithAReload)
{
    Begin(Entry("camera", Doing("stay")), kEvents);
    Write(Entry("camera", Doing("stay")), std::string(kEvents) + "log-mask: err\n");
    OwnerlinkClient::GetInstance().UpdateCfg();
    Written("");

    SetState(ProcMgr::WORKING);

    EXPECT_EQ(Written("SetSystemStateHandle"), 0U);
}
