#include "platform/hosted/log/file_sink.h"

#include <fcntl.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <filesystem>

namespace hosted::log {
namespace {

constexpr size_t kBufferSize = 64U << 10;

// The line is complete when it comes here; nothing is to be put around it.
class PlainFormatter : public spdlog::formatter {
public:
    void format(const spdlog::details::log_msg& message, spdlog::memory_buf_t& to) override
    {
        to.append(message.payload.begin(), message.payload.end());
    }
    std::unique_ptr<spdlog::formatter> clone() const override
    {
        return std::make_unique<PlainFormatter>();
    }
};

// The program may change its directory later.
std::string Absolute(const std::string& path)
{
    std::error_code error;
    const auto absolute = std::filesystem::absolute(path, error);
    return error ? path : absolute.string();
}

std::string WithProcessNumber(std::string path)
{
    const std::string number = std::to_string(getpid());
    for (size_t at = path.find("%p"); at != std::string::npos; at = path.find("%p", at)) {
        path.replace(at, 2, number);
    }
    return path;
}

// A full disk may have cut the last line short; the next one does not continue it.
int EndTornLine(int descriptor, off_t size)
{
    char last = '\n';
    if (size > 0 && pread(descriptor, &last, 1, size - 1) == 1 && last != '\n') {
        return write(descriptor, "\n", 1) == 1 ? 0 : errno;
    }
    return 0;
}

int CheckRegular(int descriptor)
{
    struct stat file {};
    if (fstat(descriptor, &file) != 0) {
        return errno;
    }
    return S_ISREG(file.st_mode) ? EndTornLine(descriptor, file.st_size) : EINVAL;
}

// Meets every usual failure first: the library behind would retry with sleeps, and make
// directories that nobody asked for.
int Prepare(const std::string& path)
{
    constexpr int kFlags = O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    const int descriptor = open(path.c_str(), kFlags, 0644);
    if (descriptor < 0) {
        return errno;
    }
    const int error = CheckRegular(descriptor);
    close(descriptor);
    return error;
}

}  // namespace

struct FileSink::RotatingFile {
    spdlog::sinks::rotating_file_sink_st sink;
};

FileSink::~FileSink() = default;

FileSink::FileSink(const SinkOptions& options) : options_(options), buffer_(kBufferSize)
{
    options_.path = Absolute(options_.path);
    path_ = WithProcessNumber(options_.path);
}

int FileSink::Write(const Line& line)
{
    if (const int error = Probe()) {
        return error;
    }
    errno = 0;
    try {
        file_->sink.log({"", spdlog::level::info, line.Whole()});
        file_->sink.flush();
        return 0;
    } catch (const std::exception&) {
        // After a failed rotation the stream inside is gone, so this object is done with.
        const int error = errno != 0 ? errno : EIO;
        file_.reset();
        return error;
    }
}

int FileSink::Probe()
{
    return file_ && StillThere() ? 0 : Open();
}

int FileSink::Open()
{
    file_.reset();
    if (const int error = Prepare(path_)) {
        return error;
    }
    spdlog::file_event_handlers handlers;
    handlers.after_open = [this](const std::string&, std::FILE* stream) {
        Adopt(stream);
    };
    try {
        // Brace-initialised: the struct has no constructor to call.
        file_.reset(  // NOLINT(modernize-make-unique)
            new RotatingFile{{path_, options_.size, options_.count, false, handlers}});
        file_->sink.set_formatter(std::make_unique<PlainFormatter>());
        return 0;
    } catch (const std::exception&) {
        file_.reset();
        return EIO;
    }
}

void FileSink::Adopt(std::FILE* stream)
{
    std::setvbuf(stream, buffer_.data(), _IOFBF, buffer_.size());
    fstat(fileno(stream), &open_);
}

bool FileSink::StillThere() const
{
    struct stat now {};
    return stat(path_.c_str(), &now) == 0 && now.st_dev == open_.st_dev &&
           now.st_ino == open_.st_ino;
}

void FileSink::EnterChild()
{
    // Nothing is buffered between lines, so closing this copy writes nothing to the parent's file.
    file_.reset();
    path_ = WithProcessNumber(options_.path);
    if (path_ == options_.path) {
        path_ += '.' + std::to_string(getpid());
    }
}

}  // namespace hosted::log
