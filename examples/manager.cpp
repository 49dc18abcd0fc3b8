// The smallest system-state manager: does what each line of its standard input says and prints the
// library's answer.
//
//   set STATE TIMEOUT                  WORKING, SUSPEND_PRE, ...; milliseconds
//   start|stop|restart GROUP APP...    DATAMASTER, IAM or APPMGR
//   query [APP...]
//   list, reload, dump, stop-all
//   watch                              prints each system event from now on, whenever it comes

#include <ownerlink/client.h>
#include <ownerlink/enum_text.h>

#include <initializer_list>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <sstream>

namespace {

constexpr int kTimeOut = 2000;
constexpr int kEveryOwner = 1;

using Words = std::istringstream;

// Finds the number whose text is `name`.
uint32_t NumberOf(const std::string& name, std::string (*text)(unsigned long),
                  std::initializer_list<uint32_t> numbers)
{
    for (const uint32_t number : numbers) {
        if (text(number) == name) {
            return number;
        }
    }
    throw std::invalid_argument("unknown name '" + name + "'");
}

std::vector<std::string> Rest(Words& words)
{
    return {std::istream_iterator<std::string>(words), {}};
}

void Print(const std::string& what, uint32_t code)
{
    std::cout << what << " = 0x" << std::hex << std::uppercase << code << std::dec << std::endl;
}

void SetState(Words& words)
{
    using namespace ProcMgr;
    std::string state;
    int timeOut = kTimeOut;
    words >> state >> timeOut;
    const auto number =
        NumberOf(state, GetSysState,
                 {OFF, WORKING, SUSPEND, UPGRADE, CALIBRATION, HIGH_LEVEL_ADS_EXIT, SUSPEND_PRE});
    Print("set " + state,
          OwnerlinkClient::GetInstance().SetSystemState(static_cast<int>(number), timeOut));
}

void Change(const std::string& verb, ProcMgr::OptionType option, Words& words)
{
    std::string group;
    words >> group;
    AppInfo app;
    app.groupOwner =
        static_cast<GroupOwner>(NumberOf(group, ProcMgr::GetGroupOwner, {DATAMASTER, IAM, APPMGR}));
    app.optionType = option;
    std::vector<AppInfo> appList;
    for (const std::string& name : Rest(words)) {
        app.appName = name;
        appList.push_back(app);
    }
    std::vector<AppChangeInfo> result;
    const uint32_t code = OwnerlinkClient::GetInstance().ChangeAppState(appList, result, kTimeOut);
    for (const AppChangeInfo& change : result) {
        std::cout << "  " << change.appName << " " << ProcMgr::GetAppState(change.state) << "\n";
    }
    Print(verb + " " + group, code);
}

void Query(Words& words)
{
    std::vector<AppStatus> answers;
    const uint32_t code =
        OwnerlinkClient::GetInstance().QueryAppState(Rest(words), answers, kTimeOut, kEveryOwner);
    for (const AppStatus& answer : answers) {
        std::cout << "  " << answer.appName << " pid=" << answer.pid << " "
                  << ProcMgr::GetAppExecStateStr(answer.status) << "\n";
    }
    Print("query", code);
}

void List()
{
    std::map<unsigned int, std::map<unsigned int, std::vector<std::string>>> names;
    const uint32_t code = OwnerlinkClient::GetInstance().QueryAppList(names);
    for (const auto& [os, groups] : names) {
        for (const auto& [group, apps] : groups) {
            std::cout << "  " << ProcMgr::GetGroupOwner(group);
            for (const std::string& app : apps) {
                std::cout << " " << app;
            }
            std::cout << "\n";
        }
    }
    Print("list", code);
}

// One string for each event: they come on a thread of the platform, beside the answers.
void Watch()
{
    const bool hasBegun =
        OwnerlinkClient::GetInstance().RegSysmonitorEventImpl([](const SysEvent& event) {
            std::cout << "event " + ProcMgr::GetSysState(event.state) + "\n" << std::flush;
        });
    std::cout << (hasBegun ? "watch = begun\n" : "watch = failed\n") << std::flush;
}

void Obey(const std::string& verb, Words& words)
{
    OwnerlinkClient& client = OwnerlinkClient::GetInstance();
    if (verb == "set") {
        SetState(words);
    } else if (verb == "start") {
        Change(verb, ProcMgr::START, words);
    } else if (verb == "stop") {
        Change(verb, ProcMgr::TERM, words);
    } else if (verb == "restart") {
        Change(verb, ProcMgr::RESTART, words);
    } else if (verb == "query") {
        Query(words);
    } else if (verb == "list") {
        List();
    } else if (verb == "watch") {
        Watch();
    } else if (verb == "reload") {
        Print(verb, client.UpdateCfg());
    } else if (verb == "dump") {
        Print(verb, client.DumpApp());
    } else if (verb == "stop-all") {
        Print(verb, client.StopAllApp());
    } else {
        throw std::invalid_argument("unknown verb '" + verb + "'");
    }
}

}  // namespace

int main()
{
    int status = 0;
    for (std::string line; std::getline(std::cin, line);) {
        Words words(line);
        std::string verb;
        if (!(words >> verb)) {
            continue;
        }
        try {
            Obey(verb, words);
        } catch (const std::invalid_argument& error) {
            std::cerr << "manager: " << error.what() << std::endl;
            std::cout << verb << " = not done" << std::endl;
            status = 2;
        }
    }
    return status;
}
