#include "platform/hosted/log/dlt_sink.h"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <map>

#include "platform/hosted/log/dlt_library.h"
#include "platform/hosted/log/levels.h"

namespace hosted::log {
namespace {

constexpr char kUsualApplication[] = "OWNL";
// What a message of the library's usual size holds beside its header.
constexpr size_t kLongestPiece = 1300;
constexpr uint32_t kWaitAtExit = 100;  // milliseconds, for what the daemon has not taken yet

// Keeps the library's thread from the signals of the process, and the disposition of SIGPIPE, which
// the library changes, as the program has set it.
class SignalKeeper {
public:
    SignalKeeper()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &mask_);
        sigaction(SIGPIPE, nullptr, &pipe_);
    }
    ~SignalKeeper()
    {
        sigaction(SIGPIPE, &pipe_, nullptr);
        pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
    }
    SignalKeeper(const SignalKeeper&) = delete;
    SignalKeeper& operator=(const SignalKeeper&) = delete;

private:
    sigset_t mask_;
    struct sigaction pipe_ {};
};

// The library takes its leave of the daemon at exit, whose pipe may have no reader by then.
void BlockPipeSignal()
{
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
}

// Between information and warning DLT has nothing.
DltLogLevelType DltLevel(uint32_t level)
{
    switch (level) {
        case kDebug:
            return DLT_LOG_DEBUG;
        case kWarning:
            return DLT_LOG_WARN;
        case kError:
            return DLT_LOG_ERROR;
        default:
            return DLT_LOG_INFO;
    }
}

std::string ContextName(uint32_t module)
{
    switch (module) {
        case kClientModule:
            return "CLNT";
        case kServerModule:
            return "SRVR";
        case kPlatformModule:
            return "PLAT";
        default:
            break;
    }
    const std::string digits = std::to_string(module);
    return module < kModuleLimit ? 'M' + std::string(3 - digits.size(), '0') + digits : "MORE";
}

std::string MessageText(const Line& line)
{
    std::string text = line.Level() == kNotice ? "notice " : "";
    text += line.IsMilestone() ? "milestone " : "";
    return text.append(line.TextWithThread());
}

// The end of the piece that starts at `from`, never inside a character of UTF-8.
size_t EndOfPiece(const std::string& text, size_t from)
{
    if (text.size() - from <= kLongestPiece) {
        return text.size();
    }
    size_t end = from + kLongestPiece;
    while (end > from + kLongestPiece - 3 &&
           (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) {
        --end;
    }
    return end;
}

int ErrorOf(DltReturnValue result)
{
    switch (result) {
        case DLT_RETURN_BUFFER_FULL:
        case DLT_RETURN_PIPE_FULL:
            return ENOBUFS;
        case DLT_RETURN_USER_BUFFER_FULL:
            return EMSGSIZE;
        case DLT_RETURN_PIPE_ERROR:
            return EPIPE;
        default:
            return result < DLT_RETURN_OK ? EIO : 0;
    }
}

class DltSink : public Sink {
public:
    explicit DltSink(const std::string& application) : error_(Start(application)) {}

    int Write(const Line& line) override;
    int Probe() override { return error_; }
    // The library does not work in a forked child.
    void EnterChild() override { error_ = ENOTSUP; }

private:
    int Start(const std::string& application);
    int Register(const std::string& application) const;
    int WritePiece(DltContext& context, const Line& line, const std::string& text) const;
    DltContext& ContextOf(uint32_t module);

    DltLibrary library_;
    int error_;
    // The library keeps pointers to them.
    std::map<std::string, DltContext> contexts_;
};

int DltSink::Start(const std::string& application)
{
    if (const int error = library_.Load()) {
        return error;
    }
    std::array<char, DLT_ID_SIZE + 1> present{};
    library_.getApplication(present.data());
    return present[0] != '\0' ? 0 : Register(application);
}

// What it tells about itself would go to standard output, and at exit it would wait ten seconds for
// a daemon that has never come.
int DltSink::Register(const std::string& application) const
{
    const SignalKeeper keeper;
    library_.setOwnLogLevel(LOG_EMERG);
    if (library_.checkVersion(_DLT_PACKAGE_MAJOR_VERSION, _DLT_PACKAGE_MINOR_VERSION) < 0) {
        return ELIBBAD;
    }
    const int error = ErrorOf(library_.registerApplication(
        application.empty() ? kUsualApplication : application.c_str(), "ownerlink"));
    library_.setWaitAtExit(kWaitAtExit);
    std::atexit(BlockPipeSignal);
    return error;
}

DltContext& DltSink::ContextOf(uint32_t module)
{
    const auto [context, isNew] = contexts_.try_emplace(ContextName(module));
    if (isNew) {
        // OWNERLINK_LOG has chosen already; who looks at the log may lower the level there.
        const std::string description = "ownerlink " + ModuleName(module);
        library_.registerContext(&context->second, context->first.c_str(), description.c_str(),
                                 DLT_LOG_VERBOSE, DLT_TRACE_STATUS_OFF);
    }
    return context->second;
}

int DltSink::Write(const Line& line)
{
    if (error_ != 0) {
        return error_;
    }
    DltContext& context = ContextOf(line.Module());
    const std::string text = MessageText(line);
    int error = 0;
    for (size_t from = 0, end = 0; from < text.size() && error == 0; from = end) {
        end = EndOfPiece(text, from);
        error =
            WritePiece(context, line, (from == 0 ? "" : "... ") + text.substr(from, end - from));
    }
    return error;
}

int DltSink::WritePiece(DltContext& context, const Line& line, const std::string& text) const
{
    DltContextData message{};
    const DltReturnValue started =
        library_.startMessage(&context, &message, DltLevel(line.Level()));
    if (started != DLT_RETURN_TRUE) {
        return ErrorOf(started);  // 0: whoever looks at the log wants none of this level
    }
    const int error = ErrorOf(library_.addText(&message, text.c_str()));
    const int last = ErrorOf(library_.finishMessage(&message));
    return error != 0 ? error : last;
}

}  // namespace

std::unique_ptr<Sink> MakeDltSink(const std::string& application)
{
    return std::make_unique<DltSink>(application);
}

}  // namespace hosted::log
