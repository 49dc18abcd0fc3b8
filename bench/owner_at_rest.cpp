// An owner that is a process without the library, prints "ready", and loads and uses the library
// upon SIGUSR1: what its resident size has grown by then is the library's. A program of its own,
// since the other links what the library needs.
//
//   ownerlink-bench-owner-at-rest RESOURCE

#include <dlfcn.h>
#include <ownerlink/server.h>
#include <unistd.h>

#include <csignal>
#include <iostream>

namespace {

OwnerlinkServer* LoadServer()
{
    using GetInstance = OwnerlinkServer& (*)();
    void* const library = dlopen(OWNERLINK_BENCH_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    void* const entry =
        library != nullptr ? dlsym(library, "_ZN15OwnerlinkServer11GetInstanceEv") : nullptr;
    return entry != nullptr ? &reinterpret_cast<GetInstance>(entry)() : nullptr;
}

void AwaitSignal()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    std::cout << "ready" << std::endl;
    int caught = 0;
    sigwait(&signals, &caught);
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string resource = argc > 1 ? argv[1] : "";
    AwaitSignal();
    OwnerlinkServer* const server = LoadServer();
    if (server == nullptr || server->RegDumpCallBackImpl([] { return true; }, resource) != 0) {
        std::cerr << "cannot publish with " << OWNERLINK_BENCH_LIBRARY << std::endl;
        return 1;
    }
    std::cout << "ready" << std::endl;
    while (true) {
        pause();
    }
}
