// What the layer does when its process forks or exits. Its locks are held across a fork, and its
// descriptors are closed in the child.
#include <pthread.h>

#include <chrono>
#include <cstdlib>
#include <utility>

#include "platform/hosted/exit_handler.h"
#include "platform/hosted/file_client.h"
#include "platform/hosted/name_lock.h"
#include "platform/hosted/owner_server.h"
#include "platform/hosted/pipe_table.h"
#include "platform/hosted/queue_client.h"
#include "platform/hosted/queue_end_watch.h"
#include "platform/hosted/queue_server.h"
#include "platform/hosted/queue_store.h"
#include "platform/hosted/unique_fd.h"

namespace hosted {
namespace {

constexpr std::chrono::seconds kExitWait{2};

// All are stopped before one is waited for: nothing new may begin meanwhile.
void StopLayer()
{
    static const auto end = std::chrono::steady_clock::now() + kExitWait;  // for all handlers
    OwnerServer::Instance().Stop();
    QueueServer::Instance().Stop();
    QueueClient::Instance().Stop();
    PipeTable::Instance().Stop();
    OwnerServer::Instance().WaitForHooks(end);
    QueueServer::Instance().WaitForHooks(end);
    QueueClient::Instance().WaitForDeliveries(end);
}

// No call holds one of these while it takes another but the registry's, which comes last.
void LockAll() HOSTED_TSA(no_thread_safety_analysis)
{
    FileClient::Instance().LockForFork();
    OwnerServer::Instance().LockForFork();
    NameLock::LockForFork();
    QueueClient::Instance().LockForFork();
    EndWatch::Instance().LockForFork();
    QueueServer::Instance().LockForFork();
    QueueStore::Instance().LockForFork();
    PipeTable::Instance().LockForFork();
    FdRegistry::Instance().mutex.lock();
}

void UnlockAll() HOSTED_TSA(no_thread_safety_analysis)
{
    FdRegistry::Instance().mutex.unlock();
    PipeTable::Instance().UnlockAfterFork();
    QueueStore::Instance().UnlockAfterFork();
    QueueServer::Instance().UnlockAfterFork();
    EndWatch::Instance().UnlockAfterFork();
    QueueClient::Instance().UnlockAfterFork();
    NameLock::UnlockAfterFork();
    OwnerServer::Instance().UnlockAfterFork();
    FileClient::Instance().UnlockAfterFork();
}

// The descriptors go first, and the registry's lock is free below: what is forgotten there would
// close its own, and finds them closed.
void EnterChild() HOSTED_TSA(no_thread_safety_analysis)
{
    FdRegistry::Instance().CloseAllInChild();
    FdRegistry::Instance().mutex.unlock();
    FileClient::Instance().ForgetInChild();
    OwnerServer::Instance().ForgetInChild();
    NameLock::ForgetInChild();
    QueueClient::Instance().ForgetInChild();
    EndWatch::Instance().ForgetInChild();
    QueueServer::Instance().ForgetInChild();
    QueueStore::Instance().ForgetInChild();
    PipeTable::Instance().ForgetInChild();
    FdRegistry::Instance().mutex.lock();
    UnlockAll();
}

// At load, with all that the handlers use: a fork that met the first call halfway would leave the
// child waiting for a thread that it does not have.
const int installed = [] {
    FdRegistry::Instance();
    NameLock::BuildTable();
    FileClient::Instance();
    OwnerServer::Instance();
    QueueClient::Instance();
    EndWatch::Instance();
    QueueServer::Instance();
    QueueStore::Instance();
    PipeTable::Instance();
    return pthread_atfork(LockAll, UnlockAll, EnterChild);
}();

}  // namespace

void ExitHandler::Install()
{
    if (std::exchange(process_, getpid()) == 0) {
        (void)std::atexit(StopLayer);
    }
}

}  // namespace hosted
