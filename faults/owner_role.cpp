#include "faults/owner_role.h"

#include <ownerlink/server.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "faults/request.h"
#include "faults/shortage.h"
#include "faults/trap.h"
#include "platform/iam_file.h"

namespace {

enum class Mode { kEcho, kBlock, kDie, kDieBeforeAnswer, kDieAfterAnswer };

// Callbacks may run until the process has gone: never destroyed.
struct Stage {
    std::mutex mutex;
    std::condition_variable changed;
    Mode mode = Mode::kEcho;
    int running = 0;
    int blocked = 0;
};

Stage& TheStage()
{
    static Stage& stage = *new Stage;
    return stage;
}

// One callback's stay.
class Visit {
public:
    Visit()
    {
        Stage& stage = TheStage();
        std::unique_lock<std::mutex> lock(stage.mutex);
        ++stage.running;
        Follow(stage.mode);
        ++stage.blocked;
        stage.changed.notify_all();
        stage.changed.wait(lock, [&] { return stage.mode != Mode::kBlock; });
        --stage.blocked;
    }
    ~Visit()
    {
        Stage& stage = TheStage();
        const std::lock_guard<std::mutex> lock(stage.mutex);
        --stage.running;
        stage.changed.notify_all();
    }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

private:
    static void Follow(Mode mode)
    {
        if (mode == Mode::kDie) {
            kill(getpid(), SIGKILL);
        } else if (mode == Mode::kDieBeforeAnswer) {
            DieAtNextSend();
        } else if (mode == Mode::kDieAfterAnswer) {
            DieAtNextReceive();
        }
    }
};

int OnIoctl(IAMMgrFile* /*file*/, unsigned int /*command*/, IAMIoctlArg* argument)
{
    const Visit visit;
    TaggedRequest request;
    if (argument->size != sizeof request) {
        return -1;
    }
    std::memcpy(&request, argument->buf, sizeof request);
    TurnIntoAnswer(request);
    std::memcpy(argument->buf, &request, sizeof request);
    return 0;
}

bool OnQuery(const std::vector<std::string>& names, std::vector<AppStatus>& answers,
             int /*timeOut*/, int /*type*/)
{
    const Visit visit;
    for (const std::string& name : names) {
        answers.push_back({name, getpid(), StateOf(name)});
    }
    return true;
}

int PublishPlain(const std::string& name)
{
    const auto succeed = [](IAMMgrFile* /*file*/) {
        return 0;
    };
    IAMFileOps ops = {};
    ops.ioctl = OnIoctl;
    ops.open = succeed;
    ops.close = succeed;
    const IAMServiceDesc desc = {name.c_str(), &ops, 5000};
    return IAMRegisterService(&desc) == 0 ? 0 : errno;
}

const char* ErrorName(int error)
{
    return error == 0 ? "0" : strerrorname_np(error);
}

// What is up stays up, and is not tried again.
struct Published {
    int plain = -1;
    int library = -1;
    int events = -1;
};

}  // namespace

bool OwnerRole::Publish(const std::string& suffix, char* text, size_t room)
{
    static Published published;
    OwnerlinkServer& server = OwnerlinkServer::GetInstance();
    if (published.plain != 0) {
        published.plain = PublishPlain(kPlainResource + suffix);
    }
    if (published.library != 0) {
        published.library =
            server.RegSsQueryAppStateCallBackImpl(OnQuery, kLibraryResource + suffix);
    }
    if (published.events != 0) {
        setlogmask(LOG_UPTO(LOG_EMERG));
        published.events = server.InitSysEventServer(kEventResource + suffix);
    }
    std::snprintf(text, room, "plain:%s=1 library:0x%X=1 events:0x%X=1", ErrorName(published.plain),
                  static_cast<unsigned>(published.library),
                  static_cast<unsigned>(published.events));
    return published.plain == 0 && published.library == 0 && published.events == 0;
}

bool OwnerRole::SetMode(std::string_view mode)
{
    static constexpr std::string_view kModes[] = {"echo", "block", "die", "die-before-answer",
                                                  "die-after-answer"};
    for (size_t i = 0; i < std::size(kModes); ++i) {
        if (mode == kModes[i]) {
            Stage& stage = TheStage();
            const std::lock_guard<std::mutex> lock(stage.mutex);
            stage.mode = static_cast<Mode>(i);
            stage.changed.notify_all();
            return true;
        }
    }
    return false;
}

void OwnerRole::AwaitBlocked(int count)
{
    Stage& stage = TheStage();
    std::unique_lock<std::mutex> lock(stage.mutex);
    stage.changed.wait(lock, [&] { return stage.blocked >= count; });
}

void OwnerRole::AwaitIdle()
{
    Stage& stage = TheStage();
    std::unique_lock<std::mutex> lock(stage.mutex);
    stage.changed.wait(lock, [&] { return stage.running == 0; });
}

int OwnerRole::Report(uint32_t state)
{
    SysEvent event;
    event.state = state;
    return OwnerlinkServer::GetInstance().ReportSysEvent(event);
}
