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

int OwnerlinkFakePrctl(int option, ...)
{
    va_list arguments;
    va_start(arguments, option);
    unsigned long values[4];
    for (unsigned long& value : values) {
        value = va_arg(arguments, unsigned long);
    }
    va_end(arguments);
    const bool isName = option == PR_SET_NAME;
    const std::string text = isName
                                 ? "PR_SET_NAME," + std::string(reinterpret_cast<char*>(values[0]))
                                 : std::to_string(option);
    Call call("prctl", text);
    const int result = prctl(option, values[0], values[1], values[2], values[3]);
    const OwnerlinkFake::Result usual{result, result < 0 ? errno : 0, false};
    return static_cast<int>(call.Return(call.Set().value_or(usual)));
}

}  // extern "C"
