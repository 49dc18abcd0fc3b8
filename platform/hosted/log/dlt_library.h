// The few functions of DLT's library, found when they are needed: a machine without it runs the
// same program.
#ifndef OWNERLINK_PLATFORM_HOSTED_LOG_DLT_LIBRARY_H
#define OWNERLINK_PLATFORM_HOSTED_LOG_DLT_LIBRARY_H

#include <dlt/dlt_user.h>

namespace hosted::log {

struct DltLibrary {
    // Loads the library and never lets go of it. 0, or an errno number: ELIBACC where there is
    // none, ELIBBAD where it is another one than that of the build.
    int Load();

    decltype(&dlt_check_library_version) checkVersion = nullptr;
    decltype(&dlt_log_set_level) setOwnLogLevel = nullptr;
    decltype(&dlt_set_resend_timeout_atexit) setWaitAtExit = nullptr;
    decltype(&dlt_get_appid) getApplication = nullptr;
    decltype(&dlt_register_app) registerApplication = nullptr;
    decltype(&dlt_register_context_ll_ts) registerContext = nullptr;
    decltype(&dlt_user_log_write_start) startMessage = nullptr;
    decltype(&dlt_user_log_write_utf8_string) addText = nullptr;
    decltype(&dlt_user_log_write_finish) finishMessage = nullptr;

private:
    bool FindAll(void* handle);
};

}  // namespace hosted::log

#endif
