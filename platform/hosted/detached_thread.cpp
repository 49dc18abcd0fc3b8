#include "platform/hosted/detached_thread.h"

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

// Detached from the first: a thread that ends while `pthread_detach` runs may take its own record
// away under it.
int StartDetached(void* (*run)(void*), void* argument)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread = {};
    const int error = pthread_create(&thread, &attributes, run, argument);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    return error;
}

int StartDetached(const char* name, std::function<void()> body)
{
    auto start = std::make_unique<Start>(Start{name, std::move(body)});
    const int error = StartDetached(Run, start.get());
    if (error == 0) {
        (void)start.release();
    }
    return error;
}

}  // namespace hosted
