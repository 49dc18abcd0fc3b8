// The members of the server that no operation shows, and a guard that none reaches.
#ifndef OWNERLINK_TESTS_SERVER_SERVER_INTERNALS_H
#define OWNERLINK_TESTS_SERVER_SERVER_INTERNALS_H

#include "server/ownerlink_server_impl.h"

namespace ProcMgr {

struct ServerInternals {
    static int State(const OwnerlinkServerImpl& server)
    {
        const MutexLock lock(OwnerlinkServerImpl::cancelMutex_);
        return server.currentSysState_;
    }

    static bool IsCancelPending(const OwnerlinkServerImpl& server)
    {
        const MutexLock lock(OwnerlinkServerImpl::cancelMutex_);
        return server.cancelSuspendPending_;
    }

    static void Put(OwnerlinkServerImpl& server, int state, bool isCancelPending)
    {
        const MutexLock lock(OwnerlinkServerImpl::cancelMutex_);
        server.currentSysState_ = state;
        server.cancelSuspendPending_ = isCancelPending;
    }

    static void AddFile(IamQfsMgrFile* file)
    {
        const MutexLock lock(OwnerlinkServerImpl::poolMutex_);
        OwnerlinkServerImpl::procQfsFileMap_[file] = {};
    }

    static size_t Files()
    {
        const MutexLock lock(OwnerlinkServerImpl::poolMutex_);
        return OwnerlinkServerImpl::procQfsFileMap_.size();
    }

    // The pool that stands for `file`, which must have one.
    static IAMShmPool PoolOf(IamQfsMgrFile* file)
    {
        const MutexLock lock(OwnerlinkServerImpl::poolMutex_);
        return OwnerlinkServerImpl::procQfsFileMap_.at(file);
    }
};

}  // namespace ProcMgr

#endif
