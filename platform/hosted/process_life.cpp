#include "platform/hosted/process_life.h"

#include <pthread.h>

#include "platform/hosted/file_client.h"
#include "platform/hosted/hosted_log.h"
#include "platform/hosted/name_lock.h"
#include "platform/hosted/owner_server.h"
#include "platform/hosted/unique_fd.h"

namespace hosted {
namespace {

// In the order in which calls nest them: a registration takes all of them but the client's.
void LockAll() HOSTED_TSA(no_thread_safety_analysis)
{
    FileClient::Instance().LockForFork();
    OwnerServer::Instance().LockForFork();
    NameLock::LockForFork();
    FdRegistry::Instance().mutex.lock();
}

void UnlockAll() HOSTED_TSA(no_thread_safety_analysis)
{
    FdRegistry::Instance().mutex.unlock();
    NameLock::UnlockAfterFork();
    OwnerServer::Instance().UnlockAfterFork();
    FileClient::Instance().UnlockAfterFork();
}

// The descriptors go first, the registry's lock with them: what is forgotten below would close its
// own, and finds them closed.
void EnterChild() HOSTED_TSA(no_thread_safety_analysis)
{
    FdRegistry::Instance().CloseAllInChild();
    FdRegistry::Instance().mutex.unlock();
    FileClient::Instance().ForgetInChild();
    OwnerServer::Instance().ForgetInChild();
    NameLock::ForgetInChild();
    FdRegistry::Instance().mutex.lock();
    UnlockAll();
}

int Install()
{
    // Builds what the handlers use. The log's own handlers must be older than ours, so that a fork
    // takes its lock last: some of ours are held while a failure is logged.
    CheckLogLevel(kLogModule, kLogError);
    FileClient::Instance();
    OwnerServer::Instance();
    return pthread_atfork(LockAll, UnlockAll, EnterChild);
}

}  // namespace

void InstallForkHandlers()
{
    static const int installed = Install();
    (void)installed;
}

}  // namespace hosted
