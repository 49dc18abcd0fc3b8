#include "platform/hosted/queue_thread.h"

#include <pthread.h>

#include <csignal>
#include <memory>
#include <utility>

namespace hosted {
namespace {

struct Start {
    const char* name;
    std::function<void()> body;
};

void* Run(void* argument)
{
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    pthread_setname_np(pthread_self(), start->name);
    start->body();
    return nullptr;
}

}  // namespace

int StartThread(const char* name, std::function<void()> body)
{
    auto start = std::make_unique<Start>(Start{name, std::move(body)});
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread = {};
    const int error = pthread_create(&thread, nullptr, Run, start.get());
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (error == 0) {
        (void)start.release();
        pthread_detach(thread);
    }
    return error;
}

}  // namespace hosted
