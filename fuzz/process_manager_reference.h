// The unpackers of the process manager's records once more, from the grammar and on standard
// streams alone: slow, and plain to see through.
#ifndef OWNERLINK_FUZZ_PROCESS_MANAGER_REFERENCE_H
#define OWNERLINK_FUZZ_PROCESS_MANAGER_REFERENCE_H

#include <ownerlink/process_manager.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

namespace fuzz {

using ProcMgr::Message::AppExecInfo;
using ProcMgr::Message::BaseServiceStateInfo;
using ProcMgr::Message::RestartAppInfo;
using ProcMgr::Message::StartAppInfo;
using ProcMgr::Message::StartupCfgInfo;
using ProcMgr::Message::TermAppInfo;

struct Record {
    int priority;
    std::string text;
};

void ReadStart(const std::string& text, const std::string& sender, std::vector<StartAppInfo>& apps,
               std::vector<Record>& records);
void ReadRestart(const std::string& text, const std::string& sender,
                 std::vector<RestartAppInfo>& apps, std::vector<Record>& records);
void ReadTerm(const std::string& text, std::vector<TermAppInfo>& apps,
              std::vector<Record>& records);
void ReadExecInfo(const std::string& text, AppExecInfo& info, std::vector<Record>& records);
void ReadBaseServiceState(const std::string& text, BaseServiceStateInfo& info,
                          std::vector<Record>& records);
void ReadStartupCfg(const std::string& text, StartupCfgInfo& info, std::vector<Record>& records);

template <typename Info>
auto Fields(const Info& app) -> decltype(std::tie(app.appName, app.args, app.dynamicPara))
{
    return std::tie(app.appName, app.args, app.dynamicPara);
}
inline auto Fields(const TermAppInfo& app)
{
    return std::tie(app.appName);
}
inline auto Fields(const AppExecInfo& info)
{
    return std::tie(info.appName, info.value0, info.value1, info.execState);
}
inline auto Fields(const BaseServiceStateInfo& info)
{
    return std::tie(info.state);
}
inline auto Fields(const StartupCfgInfo& info)
{
    return std::tie(info.matchData, info.path);
}

}  // namespace fuzz

#endif
