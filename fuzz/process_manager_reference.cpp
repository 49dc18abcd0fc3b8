#include "fuzz/process_manager_reference.h"

#include "fuzz/plain_text.h"

namespace fuzz {
namespace {

constexpr int kError = 3;  // syslog's

using DynamicPara = std::map<int, std::vector<std::string>>;

struct Words {
    std::string tooManyApps;
    std::string tooManyArgs;
};

void Fail(std::vector<Record>& records, const std::string& what)
{
    records.push_back(
        {kError, "ProcMgr : ProcMgrMaster unpack request failed, " + what + " invalid"});
}

bool ReadDynamicPara(PlainText& text, DynamicPara& dynamicPara, std::vector<Record>& records)
{
    const auto entries = text.Decimal<unsigned long>();
    if (entries > 3) {
        Fail(records, "dynamicParaSize=" + std::to_string(entries));
        return false;
    }
    dynamicPara = {};
    for (unsigned long entry = 1; entry <= entries; ++entry) {
        const auto index = text.Decimal<int>();
        const std::string named = "dynamicPara index=" + std::to_string(index);
        if (index >= 3) {
            Fail(records, named);
            return false;
        }
        const auto values = text.Decimal<unsigned long>();
        if (values > 1024) {
            Fail(records, named + ", valueNum=" + std::to_string(values));
            return false;
        }
        for (unsigned long value = 1; value <= values; ++value) {
            dynamicPara[index].push_back(text.UpToHash());
        }
    }
    return true;
}

template <typename Info>
void ReadApps(PlainText text, const std::string& sender, const Words& words,
              std::vector<Info>& apps, std::vector<Record>& records)
{
    const auto count = text.Decimal<unsigned>();
    if (count > 1999) {
        records.push_back({kError, words.tooManyApps + std::to_string(count)});
        return;
    }
    apps.resize(count);
    for (unsigned app = 0; app < count; ++app) {
        apps[app].appName = text.UpToHash();
        const auto args = text.Decimal<unsigned>();
        if (args > 1024) {
            records.push_back({kError, words.tooManyArgs + std::to_string(args)});
            continue;
        }
        apps[app].args.clear();
        for (unsigned arg = 0; arg < args; ++arg) {
            apps[app].args.push_back(text.UpToHash());
        }
        const bool hasDynamicPara = sender != "iammgr";
        if (hasDynamicPara && !ReadDynamicPara(text, apps[app].dynamicPara, records)) {
            return;
        }
    }
}

}  // namespace

void ReadStart(const std::string& text, const std::string& sender, std::vector<StartAppInfo>& apps,
               std::vector<Record>& records)
{
    const Words words = {"ProcMgr : ProcMgrMaster UnpackStartRequest err: big startAppListSize=",
                         "ProcMgr : ProcMgrMaster : UnpackStartRequest err, argvSize="};
    ReadApps(PlainText(text), sender, words, apps, records);
}

void ReadRestart(const std::string& text, const std::string& sender,
                 std::vector<RestartAppInfo>& apps, std::vector<Record>& records)
{
    const Words words = {
        "ProcMgr : ProcMgrMaster UnpackRestartRequest err: big restartAppListSize=",
        "ProcMgr : ProcMgrMaster : UnpackRestartRequest err, argvSize="};
    ReadApps(PlainText(text), sender, words, apps, records);
}

void ReadTerm(const std::string& text, std::vector<TermAppInfo>& apps, std::vector<Record>& records)
{
    PlainText fields(text);
    const auto count = fields.Decimal<unsigned>();
    if (count > 1999) {
        records.push_back({kError,
                           "ProcMgr : ProcMgrMaster UnpackTermRequest err: big "
                           "AppListSize=" +
                               std::to_string(count)});
        return;
    }
    apps.resize(count);
    for (unsigned app = 0; app < count; ++app) {
        apps[app].appName = fields.UpToHash();
    }
}

void ReadExecInfo(const std::string& text, AppExecInfo& info, std::vector<Record>& /*records*/)
{
    PlainText fields(text);
    fields.Decimal<unsigned>();
    info.appName = fields.UpToHash();
    info.value0 = fields.Decimal<unsigned>();
    info.value1 = fields.Decimal<unsigned>();
    info.execState = ProcMgr::Message::AppExecState{fields.Decimal<unsigned>()};
}

void ReadBaseServiceState(const std::string& text, BaseServiceStateInfo& info,
                          std::vector<Record>& /*records*/)
{
    PlainText fields(text);
    fields.Decimal<unsigned>();
    info.state = ProcMgr::Message::BaseServiceState{fields.Decimal<unsigned>()};
}

void ReadStartupCfg(const std::string& text, StartupCfgInfo& info, std::vector<Record>& /*records*/)
{
    PlainText fields(text);
    fields.Decimal<unsigned>();
    info.path = fields.UpToHash();
    const auto pairs = fields.Decimal<unsigned>();
    for (unsigned pair = 0; pairs <= 102399 && pair < pairs; ++pair) {
        const std::string key = fields.UpToHash();
        const std::string value = fields.UpToHash();
        if (!info.matchData.contains(key)) {
            info.matchData[key] = value;
        }
    }
}

}  // namespace fuzz
