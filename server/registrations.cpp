// The eleven registrations. Each stores its callback, also when the service then fails to go up.

#include <utility>

#include "server/ownerlink_server_impl.h"
#include "server/server_unit.h"

namespace ProcMgr {

int OwnerlinkServerImpl::RegSsChangeAppCallBackImpl(ChangeAppCallBack callback,
                                                    const std::string& resFileName)
{
    const int ret = Register(changeAppCb_, std::move(callback), resFileName);
    if (ret != 0) {
        SERVER_LOG(GRP_LOG_ERROR, "RegSsChangeAppCallBackImpl failed, resFileName=%s",
                   resFileName.c_str());
    }
    return ret;
}

int OwnerlinkServerImpl::RegSsChangeAppTimeoutCallBackImpl(ChangeAppTimeoutCallBack callback,
                                                           const std::string& resFileName)
{
    const int ret = Register(changeAppTimeoutCb_, std::move(callback), resFileName);
    if (ret != 0) {
        SERVER_LOG(GRP_LOG_ERROR, "RegSsChangeAppCallBackImpl(with timeout) failed, resFileName=%s",
                   resFileName.c_str());
    }
    return ret;
}

int OwnerlinkServerImpl::RegReloadCallBackImpl(CommandCallBack callback,
                                               const std::string& resFileName)
{
    const int ret = Register(reloadCb_, std::move(callback), resFileName);
    if (ret != 0) {
        SERVER_LOG(GRP_LOG_ERROR, "RegReloadCallBackImpl failed, resFileName=%s",
                   resFileName.c_str());
    }
    return ret;
}

int OwnerlinkServerImpl::RegDumpCallBackImpl(CommandCallBack callback,
                                             const std::string& resFileName)
{
    const int ret = Register(dumpCb_, std::move(callback), resFileName);
    if (ret != 0) {
        SERVER_LOG(GRP_LOG_ERROR, "RegDumpCallBackImpl failed, resFileName=%s",
                   resFileName.c_str());
    }
    return ret;
}

int OwnerlinkServerImpl::RegQueryAppListCallBackImpl(QueryAppListCallBack callback,
                                                     const std::string& resFileName)
{
    const int ret = Register(queryAppListCb_, std::move(callback), resFileName);
    if (ret != 0) {
        SERVER_LOG(GRP_LOG_ERROR, "RegQueryAppListCallBackImpl failed, resFileName=%s",
                   resFileName.c_str());
    }
    return ret;
}

int OwnerlinkServerImpl::RegStopAllAppCallBackImpl(CommandCallBack callback,
                                                   const std::string& resFileName)
{
    const int ret = Register(stopAllAppCb_, std::move(callback), resFileName);
    if (ret != 0) {
        SERVER_LOG(GRP_LOG_ERROR, "RegStopAllAppCallBackImpl failed, resFileName=%s",
                   resFileName.c_str());
    }
    return ret;
}

int OwnerlinkServerImpl::RegSetSystemStateCallBackImpl(SetSystemStateCallBack callback,
                                                       const std::string& resFileName)
{
    const int ret = Register(setSystemStateCb_, std::move(callback), resFileName);
    if (ret != 0) {
        SERVER_LOG(GRP_LOG_ERROR, "RegSetSystemStateCallBackImpl failed, resFileName=%s",
                   resFileName.c_str());
    }
    return ret;
}

int OwnerlinkServerImpl::RegSetSystemStateTimeoutCallBackImpl(
    SetSystemStateTimeoutCallBack callback, const std::string& resFileName)
{
    const int ret = Register(setSystemStateTimeoutCb_, std::move(callback), resFileName);
    if (ret != 0) {
        SERVER_LOG(GRP_LOG_ERROR,
                   "RegSetSystemStateCallBackImpl(with timeout) failed, resFileName=%s",
                   resFileName.c_str());
    }
    return ret;
}

int OwnerlinkServerImpl::RegSsCancelSuspendPreCallBackImpl(SetSystemStateTimeoutCallBack callback,
                                                           const std::string& resFileName)
{
    const int ret = Register(cancelSuspendPreCb_, std::move(callback), resFileName);
    if (ret != 0) {
        SERVER_LOG(GRP_LOG_ERROR,
                   "RegCancelSuspendCallBackImpl(with timeout) failed, resFileName=%s",
                   resFileName.c_str());
    }
    return ret;
}

int OwnerlinkServerImpl::RegSsVerifyAppCallBackImpl(VerifyAppCallBack callback,
                                                    const std::string& resFileName)
{
    const int ret = Register(verifyAppCb_, std::move(callback), resFileName);
    if (ret != 0) {
        SERVER_LOG(GRP_LOG_ERROR, "RegSsVerifyAppCallBackImpl failed, resFileName=%s",
                   resFileName.c_str());
    }
    return ret;
}

int OwnerlinkServerImpl::RegSsQueryAppStateCallBackImpl(QueryAppStateCallBack callback,
                                                        const std::string& resFileName)
{
    const int ret = Register(queryAppStateCb_, std::move(callback), resFileName);
    if (ret != 0) {
        SERVER_LOG(GRP_LOG_ERROR, "RegSsQueryAppStateCallBackImpl failed, resFileName=%s",
                   resFileName.c_str());
    }
    return ret;
}

}  // namespace ProcMgr
