// The master of the process manager for the tests: takes the agent's records over a pipe, with the
// shared library's wrappers and unpackers, driven by lines on standard input.
//
// `pipe_test_peer NAME` publishes NAME; `pipe_test_peer "socket FD"` takes over an inherited socket
// as its one pipe. The first line that it writes is "ready", or "failed CODE". Each command is
// answered with one line:
//
//     accept           takes the next peer's pipe
//     receive          what the next request says, unpacked by its type; it is kept if it asks
//     answer           answers the oldest kept request with the states of two applications
//     request          sends a state record of its own as a request
//     close            closes the pipe
//     exit             leaves main
#include <ownerlink/process_manager.h>
#include <sys/prctl.h>

#include <csignal>
#include <deque>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

#include "tests/pipe/process_records.h"

namespace {

using namespace ProcMgr::Message;
using namespace ProcMgr::Serialization;

constexpr int kNoLimit = -1;

struct Peer {
    int listener = -1;
    int pipe = -1;
    std::deque<EzcomRequest*> asked;
};

std::string CodeOf(int result)
{
    return result >= 0 ? "done" : "failed " + std::to_string(result);
}

std::string Joined(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words) {
        text += " " + word;
    }
    return text;
}

template <typename Application>
std::string TextOf(const std::vector<Application>& applications)
{
    std::string text;
    for (const Application& app : applications) {
        text += " " + app.appName + "(" + Joined(app.args) + " )";
        for (const auto& [index, values] : app.dynamicPara) {
            text += std::to_string(index) + ":" + Joined(values);
        }
    }
    return text;
}

std::string StartText(const RequestMsg& record)
{
    std::vector<StartAppInfo> applications;
    ProcMgrUnpackStartRequest(&record, applications, "appmgr");
    return "start" + TextOf(applications);
}

std::string RestartText(const RequestMsg& record)
{
    std::vector<RestartAppInfo> applications;
    ProcMgrUnpackRestartRequest(&record, applications, "iammgr");
    return "restart" + TextOf(applications);
}

std::string TerminateText(const RequestMsg& record)
{
    std::vector<TermAppInfo> applications;
    ProcMgrUnpackTermRequest(&record, applications);
    std::string text = "terminate";
    for (const TermAppInfo& app : applications) {
        text += " " + app.appName;
    }
    return text;
}

std::string ConfigurationText(const RequestMsg& record)
{
    StartupCfgInfo configuration;
    ProcMgrUnpackMatchDataAndPathRequest(&record, configuration);
    std::string text = "configuration " + configuration.path;
    for (const auto& [key, value] : configuration.matchData) {
        text += " " + key + "=" + value;
    }
    return text;
}

std::string RecordText(const RequestMsg& record)
{
    if (record.type == kStart) {
        return StartText(record);
    }
    if (record.type == kRestart) {
        return RestartText(record);
    }
    if (record.type == kTerminate) {
        return TerminateText(record);
    }
    return ConfigurationText(record);
}

std::string Accept(Peer& peer)
{
    peer.pipe = EzcomAcceptPipe(peer.listener, kNoLimit);
    return CodeOf(peer.pipe);
}

std::string Receive(Peer& peer)
{
    EzcomRequest* const request = EzcomMakeRequest();
    const int result = EzcomReceiveRequest(peer.pipe, request, kNoLimit);
    if (result != 0) {
        EzcomFreeRequest(request);
        return CodeOf(result);
    }
    const std::string text =
        RecordText(RecordIn(EzcomRequestData(request), EzcomRequestSize(request)));
    if (EzcomAsksForResponse(request) == 1) {
        peer.asked.push_back(request);
    } else {
        EzcomFreeRequest(request);
    }
    return text;
}

RequestMsg StateRecord()
{
    std::vector<std::pair<unsigned int, std::string>> items;
    ProcMgrPackAppStateRequest({{"camera", 1, 2, 3, 4}, {"radar", 5, 6, 7, 8}}, items);
    std::vector<RequestMsg> records;
    ProcMgrCombinePiecesMsg(kStates, items, records);
    return records.front();
}

std::string Answer(Peer& peer)
{
    EzcomRequest* const request = peer.asked.front();
    peer.asked.pop_front();
    EzcomResponse* const response = EzcomMakeResponse();
    const RequestMsg record = StateRecord();
    EzcomFillResponse(response, kStateType, &record, sizeof record);
    EzcomAnswer(response, request);
    const int result = ProcMgr::ProcMgrEzcomSendResponse(peer.pipe, response);
    EzcomFreeResponse(response);
    EzcomFreeRequest(request);
    return CodeOf(result);
}

std::string SendOwn(Peer& peer)
{
    EzcomRequest* const request = EzcomMakeRequest();
    const RequestMsg record = StateRecord();
    EzcomFillRequest(request, kStateType, &record, sizeof record);
    const int result = ProcMgr::ProcMgrEzcomSendRequest(peer.pipe, request);
    EzcomFreeRequest(request);
    return CodeOf(result);
}

std::string Close(Peer& peer)
{
    ProcMgr::ProcMgrEzcomClosePipe(peer.pipe);
    return "closed";
}

std::string Start(Peer& peer, const std::string& role)
{
    const std::string inherited = "socket ";
    if (role.rfind(inherited, 0) == 0) {
        peer.pipe = EzcomAdoptPipe(std::stoi(role.substr(inherited.size())));
        return peer.pipe >= 0 ? "ready" : CodeOf(peer.pipe);
    }
    peer.listener = EzcomListen(role.c_str());
    return peer.listener >= 0 ? "ready" : CodeOf(peer.listener);
}

const std::map<std::string, std::function<std::string(Peer&)>> kCommands = {
    {"accept", Accept},   {"receive", Receive}, {"answer", Answer},
    {"request", SendOwn}, {"close", Close},
};

}  // namespace

int main(int count, char** arguments)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (count < 2) {
        return 2;
    }
    Peer peer;
    std::cout << Start(peer, arguments[1]) << std::endl;
    std::string line;
    while (std::getline(std::cin, line) && line != "exit") {
        const auto found = kCommands.find(line);
        std::cout << (found != kCommands.end() ? found->second(peer) : "unknown") << std::endl;
    }
    for (EzcomRequest* const request : peer.asked) {
        EzcomFreeRequest(request);
    }
    return 0;
}
