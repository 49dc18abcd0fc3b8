#include "faults/client_role.h"

#include <fcntl.h>
#include <ownerlink/client.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <string>
#include <thread>

#include "faults/outcomes.h"
#include "faults/request.h"
#include "faults/shortage.h"
#include "faults/trap.h"
#include "platform/iam_file.h"

namespace {

using Clock = std::chrono::steady_clock;
using Order = ClientRole::Order;

constexpr int kPlainLanes = 4;

enum class Trap { kNone, kSend, kReceive };

struct Stage {
    std::mutex mutex;
    std::condition_variable changed;
    Order order;
    uint64_t number = 0;  // of the order
    int busyLanes = 0;
    int begun = 0;
    std::atomic<Trap> trap{Trap::kNone};
    std::atomic<uint64_t> tags{0};
    Outcomes outcomes;
    uint32_t lastEvent = 0;
    int wrongEvents = 0;
};

Stage& TheStage()
{
    static Stage& stage = *new Stage;
    return stage;
}

uint64_t NextTag()
{
    return (static_cast<uint64_t>(getpid()) << 32) + ++TheStage().tags;
}

void NoteBegun()
{
    Stage& stage = TheStage();
    const std::lock_guard<std::mutex> lock(stage.mutex);
    ++stage.begun;
    stage.changed.notify_all();
}

void SpringTrap()
{
    const Trap trap = TheStage().trap.load();
    if (trap == Trap::kSend) {
        DieAtNextSend();
    } else if (trap == Trap::kReceive) {
        DieAtNextReceive();
    }
}

void Exchange(int fd, int timeoutMs)
{
    Outcomes& outcomes = TheStage().outcomes;
    IAMResetFileConfig(fd, timeoutMs);
    TaggedRequest request;
    const uint64_t tag = NextTag();
    Fill(request, tag);
    IAMIoctlArg argument{sizeof request, &request};
    NoteBegun();
    SpringTrap();
    if (IAMFileIoctl(fd, 1, &argument) < 0) {
        outcomes.NoteError(Outcomes::Step::kExchange, errno);
    } else if (IsAnswerTo(request, tag)) {
        outcomes.NoteAnswer();
    } else {
        outcomes.NoteWrongAnswer();
    }
}

void AskPlainly(const Order& order)
{
    const SpareThisThread exposed(false);
    Outcomes& outcomes = TheStage().outcomes;
    const auto start = Clock::now();
    const int fd = IAMFileOpen(kPlainResource, O_RDWR);
    if (fd < 0) {
        outcomes.NoteError(Outcomes::Step::kOpen, errno);
        NoteBegun();
    } else {
        Exchange(fd, order.timeoutMs);
        if (IAMFileClose(fd) != 0) {
            outcomes.NoteError(Outcomes::Step::kClose, errno);
        }
    }
    outcomes.NoteTime(Clock::now() - start);
}

bool AreAnswersTo(const std::string& name, const std::vector<AppStatus>& answers)
{
    return answers.size() == 1 && answers[0].appName == name && answers[0].status == StateOf(name);
}

// Asks the one owner of the table for an application that nobody else asks for.
void QueryOnce(const Order& order)
{
    Outcomes& outcomes = TheStage().outcomes;
    const std::string name = "application" + std::to_string(NextTag());
    const std::vector<std::string> names = {name};
    std::vector<AppStatus> answers;
    NoteBegun();
    const SpareThisThread exposed(false);
    const uint32_t code =
        OwnerlinkClient::GetInstance().QueryAppState(names, answers, order.timeoutMs, 0);
    outcomes.NoteQuery(code);
    if (code == 0 ? !AreAnswersTo(name, answers) : !answers.empty()) {
        outcomes.NoteWrongAnswer();
    }
}

void Query(const Order& order)
{
    Outcomes& outcomes = TheStage().outcomes;
    const auto start = Clock::now();
    try {
        QueryOnce(order);
    } catch (const std::exception&) {
        outcomes.NoteException();
    }
    outcomes.NoteTime(Clock::now() - start);
}

// Carries out its share of each order, once.
void RunLane(bool isPlain)
{
    const SpareThisThread spared;
    Stage& stage = TheStage();
    uint64_t done = 0;
    while (true) {
        Order order;
        {
            std::unique_lock<std::mutex> lock(stage.mutex);
            stage.changed.wait(lock, [&] { return stage.number > done; });
            done = stage.number;
            order = stage.order;
        }
        for (int i = 0; i < (isPlain ? order.plain : order.queries); ++i) {
            (isPlain ? AskPlainly : Query)(order);
        }
        const std::lock_guard<std::mutex> lock(stage.mutex);
        --stage.busyLanes;
        stage.changed.notify_all();
    }
}

void TakeEvent(const SysEvent& event)
{
    Stage& stage = TheStage();
    const std::lock_guard<std::mutex> lock(stage.mutex);
    stage.wrongEvents += event.state <= stage.lastEvent ? 1 : 0;
    stage.lastEvent = event.state;
    stage.changed.notify_all();
}

}  // namespace

void ClientRole::Start()
{
    for (int i = 0; i < kPlainLanes; ++i) {
        std::thread(RunLane, true).detach();
    }
    std::thread(RunLane, false).detach();
}

void ClientRole::Ask(const Order& order)
{
    Stage& stage = TheStage();
    const std::lock_guard<std::mutex> lock(stage.mutex);
    stage.outcomes.Clear();
    stage.order = order;
    stage.begun = 0;
    stage.busyLanes = kPlainLanes + 1;
    ++stage.number;
    stage.changed.notify_all();
}

void ClientRole::AwaitBegun(int count)
{
    Stage& stage = TheStage();
    std::unique_lock<std::mutex> lock(stage.mutex);
    stage.changed.wait(lock, [&] { return stage.begun >= count; });
}

void ClientRole::Results(char* text, size_t room)
{
    Stage& stage = TheStage();
    std::unique_lock<std::mutex> lock(stage.mutex);
    stage.changed.wait(lock, [&] { return stage.busyLanes == 0; });
    stage.outcomes.Print(text, room);
}

bool ClientRole::SetTrap(std::string_view call)
{
    TheStage().trap = call == "send" ? Trap::kSend : Trap::kReceive;
    return call == "send" || call == "receive";
}

bool ClientRole::Subscribe()
{
    return OwnerlinkClient::GetInstance().RegSysmonitorEventImpl(TakeEvent);
}

bool ClientRole::HasSeen(uint32_t state, int waitMs)
{
    Stage& stage = TheStage();
    std::unique_lock<std::mutex> lock(stage.mutex);
    return stage.changed.wait_until(lock, Clock::now() + std::chrono::milliseconds(waitMs),
                                    [&] { return stage.lastEvent >= state; });
}

int ClientRole::WrongEvents()
{
    const std::lock_guard<std::mutex> lock(TheStage().mutex);
    return TheStage().wrongEvents;
}
