// In the place of DLT's library: notes each call in the file that DLT_DOUBLE_NOTES names, and does
// what DLT_DOUBLE_MODE asks for: "host" (the program is an application already), "foreign" (another
// version), "full" (no room for a message), "quiet" (nobody wants to see any).
#include <dlt/dlt_user.h>
#include <dlt/dlt_user_macros.h>

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

namespace {

std::map<const DltContext*, std::string>& Contexts()
{
    static auto& contexts = *new std::map<const DltContext*, std::string>;
    return contexts;
}

bool IsMode(const char* mode)
{
    const char* const set = std::getenv("DLT_DOUBLE_MODE");
    return set != nullptr && std::string(set) == mode;
}

__attribute__((format(printf, 1, 2))) void Note(const char* format, ...)
{
    std::FILE* const file = std::fopen(std::getenv("DLT_DOUBLE_NOTES"), "a");
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(file, format, arguments);
    va_end(arguments);
    std::fputc('\n', file);
    std::fclose(file);
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

DltReturnValue dlt_check_library_version(const char*, const char*)
{
    return IsMode("foreign") ? DLT_RETURN_ERROR : DLT_RETURN_OK;
}

void dlt_log_set_level(int level)
{
    Note("own log level %d", level);
}

int dlt_set_resend_timeout_atexit(uint32_t milliseconds)
{
    Note("wait at exit %u", milliseconds);
    return 0;
}

DltReturnValue dlt_get_appid(char* appid)
{
    std::strncpy(appid, IsMode("host") ? "HOST" : "", DLT_ID_SIZE);
    return DLT_RETURN_OK;
}

DltReturnValue dlt_register_app(const char* apid, const char* description)
{
    std::signal(SIGPIPE, SIG_IGN);  // as the library does
    Note("application %s %s", apid, description);
    return DLT_RETURN_OK;
}

DltReturnValue dlt_register_context_ll_ts(DltContext* handle, const char* contextid,
                                          const char* description, int loglevel, int tracestatus)
{
    Contexts()[handle] = contextid;
    Note("context %s %s %d %d", contextid, description, loglevel, tracestatus);
    return DLT_RETURN_OK;
}

DltReturnValue dlt_user_log_write_start(DltContext* handle, DltContextData* log,
                                        DltLogLevelType loglevel)
{
    log->handle = handle;
    log->log_level = loglevel;
    return IsMode("quiet") ? DLT_RETURN_OK : DLT_RETURN_TRUE;
}

DltReturnValue dlt_user_log_write_utf8_string(DltContextData* log, const char* text)
{
    Note("%s %d %s", Contexts()[log->handle].c_str(), log->log_level, text);
    return DLT_RETURN_OK;
}

DltReturnValue dlt_user_log_write_finish(DltContextData*)
{
    return IsMode("full") ? DLT_RETURN_BUFFER_FULL : DLT_RETURN_OK;
}

}  // extern "C"
#pragma GCC visibility pop
