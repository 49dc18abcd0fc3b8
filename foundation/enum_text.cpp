#include <ownerlink/enum_text.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <vector>

namespace ProcMgr {
namespace {

// The tables are never destroyed: an owner's callback that outlasts the exit of its process still
// logs.
using Texts = std::vector<std::string>;

const Texts& reportAppStateTypes = *new const Texts{
    "RUNNING_NORMAL_START",   "RUNNING_NORMAL_RESTART",   "RUNNING_ABNORMAL_TERM_TIMEOUT",
    "TERMINATED_NORMAL_EXIT", "TERMINATED_ABNORMAL_EXIT", "INVALID_INTERMEDIATE_STATE",
};
const Texts& processStates = *new const Texts{
    "INITSTATE", "STARTING", "RUNNING", "TERMINATING", "TERMINATED", "RESTARTING",
};
const Texts& baseServiceStates = *new const Texts{"INIT", "RESTARTING", "RUNNING", "TERMINATING"};
const Texts& appExecStates = *new const Texts{"RUNNING", "TERMINATED"};

std::string TextAt(const Texts& texts, unsigned long value)
{
    return value < texts.size() ? texts[value] : "";
}

}  // namespace

std::string GetSysState(unsigned long value)
{
    using States = std::map<unsigned long, std::string>;
    static const States& states = *new const States{
        {OFF, "OFF"},
        {WORKING, "WORKING"},
        {SUSPEND, "SUSPEND"},
        {UPGRADE, "UPGRADE"},
        {CALIBRATION, "CALIBRATION"},
        {HIGH_LEVEL_ADS_EXIT, "HIGH_LEVEL_ADS_EXIT"},
        {SUSPEND_PRE, "SUSPEND_PRE"},
    };
    const auto found = states.find(value);
    return found == states.end() ? "" : found->second;
}

std::string GetGroupOwner(unsigned long value)
{
    static const Texts& owners = *new const Texts{"DATAMASTER", "IAM", "APPMGR"};
    return TextAt(owners, value);
}

std::string GetOptionType(unsigned long value)
{
    static const Texts& options = *new const Texts{"START", "TERM", "RESTART"};
    return TextAt(options, value);
}

std::string GetAppState(unsigned long value)
{
    static const Texts& states = *new const Texts{
        "SUCCESS", "TERM_FAILED", "START_FAILED",        "RESTART_FAILED",
        "INIT",    "PROCESSING",  "START_FAILED_BY_EIO",
    };
    return TextAt(states, value);
}

std::string GetReportAppStateTypeStr(unsigned long value)
{
    return TextAt(reportAppStateTypes, value);
}

std::string GetProcessStateStr(unsigned long value)
{
    return TextAt(processStates, value);
}

std::string GetBaseServiceStateTypeStr(unsigned long value)
{
    return TextAt(baseServiceStates, value);
}

std::string GetAppExecStateStr(unsigned long value)
{
    return TextAt(appExecStates, value);
}

bool IsStrDigits(const std::string& text)
{
    return std::all_of(text.begin(), text.end(),
                       [](unsigned char c) { return std::isdigit(c) != 0; });
}

}  // namespace ProcMgr
