#include "platform/hosted/log/dlt_library.h"

#include <dlfcn.h>
#include <dlt/dlt_version.h>

#include <cerrno>

namespace hosted::log {
namespace {

// The name that its ABI goes by.
constexpr char kFileName[] = "libdlt.so.2";

template <typename Function>
bool Find(void* handle, const char* name, Function& function)
{
    function = reinterpret_cast<Function>(dlsym(handle, name));
    return function != nullptr;
}

}  // namespace

int DltLibrary::Load()
{
    void* const handle = dlopen(kFileName, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (handle == nullptr) {
        return ELIBACC;
    }
    return FindAll(handle) ? 0 : ELIBBAD;
}

bool DltLibrary::FindAll(void* handle)
{
    return Find(handle, "dlt_check_library_version", checkVersion) &&
           Find(handle, "dlt_log_set_level", setOwnLogLevel) &&
           Find(handle, "dlt_set_resend_timeout_atexit", setWaitAtExit) &&
           Find(handle, "dlt_get_appid", getApplication) &&
           Find(handle, "dlt_register_app", registerApplication) &&
           Find(handle, "dlt_register_context_ll_ts", registerContext) &&
           Find(handle, "dlt_user_log_write_start", startMessage) &&
           Find(handle, "dlt_user_log_write_utf8_string", addText) &&
           Find(handle, "dlt_user_log_write_finish", finishMessage);
}

}  // namespace hosted::log
