#include "tools/ctl/session.h"

#include <ownerlink/enum_text.h>

namespace ctl {
namespace {

constexpr int kUnknownTimeOut = 0;

OwnerlinkClientInner& Client()
{
    return OwnerlinkClientInner::GetInstance();
}

}  // namespace

OwnerTable Session::Table()
{
    const std::lock_guard<std::mutex> lock(tableMutex_);
    if (!isTableKept_) {
        table_ = ReadOwnerTable();
    }
    return table_;
}

void Session::KeepTable()
{
    const bool isLoaded = Table().isLoaded;
    const std::lock_guard<std::mutex> lock(tableMutex_);
    isTableKept_ = isLoaded;
}

size_t Session::Begin()
{
    KeepTable();
    const std::lock_guard<std::mutex> lock(operationsMutex_);
    ++operations_;
    return log_.Mark();
}

void Session::End()
{
    const std::lock_guard<std::mutex> lock(operationsMutex_);
    --operations_;
}

size_t Session::Mark()
{
    const std::lock_guard<std::mutex> lock(operationsMutex_);
    if (operations_ == 0) {
        log_.Forget();
    }
    return log_.Mark();
}

Fates Session::FatesSince(size_t mark, const RecordFilter& isOurs)
{
    return FatesOf(log_.Since(mark), Table().Resources(), isOurs);
}

Answer Session::Conclude(uint32_t code, size_t mark, const RecordFilter& isOurs)
{
    std::vector<LogRecord> records = log_.Since(mark);
    Fates fates = FatesOf(records, Table().Resources(), isOurs);
    return {code, std::move(fates), std::move(records)};
}

bool Session::IsCancel(int state) const
{
    return state == static_cast<int>(ProcMgr::WORKING) &&
           lastState_ == static_cast<int>(ProcMgr::SUSPEND_PRE);
}

// A refused state counts as the last one, too; only the exit of high-level functions does not.
Answer Session::SetState(int state, int timeOut)
{
    const Operation operation(*this);
    if (state != static_cast<int>(ProcMgr::HIGH_LEVEL_ADS_EXIT)) {
        lastState_ = state;
    }
    const uint32_t code = Client().SetSystemState(state, timeOut);
    timeOut_ = code == kBusyCode ? kUnknownTimeOut : timeOut;
    return Conclude(code, operation.Mark(), FromSendersOf(state, log_.Since(operation.Mark())));
}

Answer Session::Change(const std::vector<AppInfo>& apps, std::vector<AppChangeInfo>& results,
                       int timeOut)
{
    const std::lock_guard<std::mutex> lock(changeMutex_);
    const Operation operation(*this);
    const uint32_t code = Client().ChangeAppState(apps, results, timeOut);
    timeOut_ = timeOut;
    return Conclude(code, operation.Mark(), FromThreadsNamed("CHANGE_APP"));
}

Answer Session::Query(const std::vector<std::string>& names, std::vector<AppStatus>& answers,
                      int timeOut, int type)
{
    const std::lock_guard<std::mutex> lock(queryMutex_);
    const Operation operation(*this);
    const uint32_t code = Client().QueryAppState(names, answers, timeOut, type);
    timeOut_ = timeOut;
    return Conclude(code, operation.Mark(), FromThreadsNamed("QUERY_APP_STATE"));
}

// The operations without a time-out of their own run under the object's, which a change of no
// application sets.
void Session::UseTimeOut(int timeOut)
{
    if (timeOut_ != timeOut) {
        std::vector<AppChangeInfo> none;
        Change({}, none, timeOut);
    }
}

Answer Session::List(AppNames& names, int timeOut)
{
    UseTimeOut(timeOut);
    const Operation operation(*this);
    const uint32_t code = Client().QueryAppList(names);
    return Conclude(code, operation.Mark(), FromThisThread());
}

uint32_t Session::SendToAll(Control control)
{
    switch (control) {
        case Control::kReload:
            return Client().UpdateCfg();
        case Control::kDump:
            return Client().DumpApp();
        case Control::kStopAll:
            return Client().StopAllApp();
    }
    return 0;
}

bool Session::SendToOne(Control control, GroupOwner group)
{
    switch (control) {
        case Control::kReload:
            return Client().UpdateGrpCfg(DP, group);
        case Control::kDump:
            return Client().DumpGrp(DP, group);
        case Control::kStopAll:
            return Client().StopGrpApp(DP, group);
    }
    return false;
}

Answer Session::Send(Control control, const ConfiguredOwner* owner, int timeOut)
{
    UseTimeOut(timeOut);
    const Operation operation(*this);
    if (owner == nullptr) {
        const uint32_t code = SendToAll(control);
        return Conclude(code, operation.Mark(), FromThisThread());
    }
    const bool isAccepted = SendToOne(control, owner->group);
    Answer answer = Conclude(0, operation.Mark(), FromThisThread());
    Fate& fate = answer.fates[owner->resource];
    if (isAccepted || fate.outcome == Outcome::kDone) {
        fate = {isAccepted ? Outcome::kDone : Outcome::kNotKnown, 0};
    }
    return answer;
}

}  // namespace ctl
