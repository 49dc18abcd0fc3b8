// A client of a soak test: `ownerlink-soak-client NUMBER EXCHANGES CHANGES EVENTS` subscribes, and
// on "go" makes that many exchanges and changes and takes that many events. Any other line is
// answered with how far it has come and what was wrong.

#include <fcntl.h>
#include <ownerlink/client.h>
#include <sys/prctl.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "platform/iam_file.h"
#include "soak/message.h"

namespace {

constexpr int kTimeoutMs = 60000;
constexpr int kApplications = 16;  // what was last done to each is kept, by name

struct Progress {
    std::atomic<uint32_t> exchanges{0};
    std::atomic<uint32_t> changes{0};
    std::atomic<uint32_t> events{0};
    std::atomic<uint32_t> failed{0};
    std::atomic<uint32_t> wrong{0};
};

Progress& TheProgress()
{
    static Progress& progress = *new Progress;  // events may come until the process has gone
    return progress;
}

uint64_t NextTag(uint32_t client)
{
    static std::atomic<uint64_t> last{0};
    return (uint64_t{client} << 48) + ++last;
}

void TakeEvent(const SysEvent& event)
{
    Progress& progress = TheProgress();
    progress.wrong += event.state == progress.events + 1 ? 0 : 1;
    progress.events = event.state;
}

void ExchangeOnce(uint32_t client)
{
    Progress& progress = TheProgress();
    SoakRequest request{client, progress.events, NextTag(client), {}};
    const uint64_t wanted = AnswerTo(request.tag);
    IAMIoctlArg argument{sizeof request, &request};
    const int fd = IAMFileOpen(kPlainResource, O_RDWR);
    if (fd < 0 || IAMFileIoctl(fd, 1, &argument) != 0) {
        ++progress.failed;
    } else {
        progress.wrong += request.tag == wanted && request.client == client ? 0 : 1;
    }
    IAMFileClose(fd);
    ++progress.exchanges;
}

// After its share it goes on asking now and then: its requests say which events it has seen.
void Exchange(uint32_t client, uint32_t count, uint32_t events)
{
    Progress& progress = TheProgress();
    while (progress.exchanges < count) {
        ExchangeOnce(client);
    }
    while (progress.events < events) {
        ExchangeOnce(client);
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    ExchangeOnce(client);
}

std::vector<AppInfo> ChangeOf(uint32_t client, uint64_t* tags)
{
    std::vector<AppInfo> apps(kOwners);
    for (int owner = 0; owner < kOwners; ++owner) {
        AppInfo& app = apps[static_cast<size_t>(owner)];
        tags[owner] = NextTag(client);
        app.groupOwner = owner == 0 ? DATAMASTER : APPMGR;
        app.appName = "app" + std::to_string(tags[owner] % kApplications);
        app.optionType = static_cast<uint32_t>(tags[owner] / kApplications % 3);
        app.args = {std::to_string(tags[owner])};
    }
    return apps;
}

// Results come by resource file, which is the owners' order.
void ChangeOnce(uint32_t client)
{
    Progress& progress = TheProgress();
    uint64_t tags[kOwners];
    const std::vector<AppInfo> apps = ChangeOf(client, tags);
    std::vector<AppChangeInfo> results;
    if (OwnerlinkClient::GetInstance().ChangeAppState(apps, results, kTimeoutMs) != 0) {
        ++progress.failed;
    }
    progress.wrong += results.size() == kOwners ? 0 : 1;
    for (size_t i = 0; i < results.size() && i < kOwners; ++i) {
        // Those to be terminated come without their arguments.
        const bool isToldByTag = apps[i].optionType != 1;
        const AppChangeState wanted = !isToldByTag || IsDoneAtOnce(tags[i]) ? SUCCESS : PROCESSING;
        const bool isRight =
            results[i].appName == apps[i].appName && (!isToldByTag || results[i].state == wanted);
        progress.wrong += isRight ? 0 : 1;
    }
    ++progress.changes;
}

void Change(uint32_t client, uint32_t count)
{
    while (TheProgress().changes < count) {
        ChangeOnce(client);
    }
}

void SayProgress()
{
    const Progress& progress = TheProgress();
    std::cout << "exchanges=" << progress.exchanges << " changes=" << progress.changes
              << " events=" << progress.events << " failed=" << progress.failed
              << " wrong=" << progress.wrong << std::endl;
}

}  // namespace

int main(int count, char** arguments)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (count < 5) {
        return 2;
    }
    const auto number = [&](int place) {
        return static_cast<uint32_t>(std::stoul(arguments[place]));
    };
    const uint32_t client = number(1);
    const bool isUp = OwnerlinkClient::GetInstance().RegSysmonitorEventImpl(TakeEvent);
    std::cout << (isUp ? "ok" : "failed") << std::endl;
    std::vector<std::thread> threads;
    for (std::string line; std::getline(std::cin, line) && line != "exit";) {
        if (line == "go") {
            threads.emplace_back(Exchange, client, number(2), number(4));
            threads.emplace_back(Change, client, number(3));
            std::cout << "ok" << std::endl;
        } else {
            SayProgress();
        }
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return 0;
}
