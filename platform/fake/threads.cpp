// The start of std::thread, which may fail, and prctl.
#include <sys/prctl.h>

#include <cstdarg>
#include <system_error>
#include <thread>

#include "platform/fake/call.h"

using OwnerlinkFake::detail::Call;

// std::thread::_M_start_thread(std::unique_ptr<_State>, void (*)()) is not accessible by its C++
// name. The unique_ptr travels by address and stays the caller's to destroy, so that the address
// can be handed on as it is.
extern "C" void
OwnerlinkRealStartThread(std::thread* thread, void* state, void (*depend)()) __asm__(
    "_ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE");

extern "C" {

void OwnerlinkFakeStartThread(std::thread* thread, void* state, void (*depend)())
{
    Call call("std::thread", "");
    if (call.MustFail()) {
        call.Finish("exception", call.Error());
        throw std::system_error(call.Error(), std::generic_category());
    }
    call.Finish("");
    OwnerlinkRealStartThread(thread, state, depend);
}

// Names the thread for real. The core asks for nothing else; another option would need its own
// reading of the arguments and is refused.
int OwnerlinkFakePrctl(int option, ...)
{
    if (option != PR_SET_NAME) {
        return static_cast<int>(Call("prctl", std::to_string(option)).Return(-1, EINVAL));
    }
    va_list arguments;
    va_start(arguments, option);
    const char* name = va_arg(arguments, const char*);
    va_end(arguments);
    Call call("prctl", "PR_SET_NAME," + std::string(name));
    const int result = prctl(option, name);
    const OwnerlinkFake::Result usual{result, result < 0 ? errno : 0, false};
    return static_cast<int>(call.Return(call.Set().value_or(usual)));
}

}  // extern "C"
