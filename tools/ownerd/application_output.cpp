#include "tools/ownerd/application_output.h"

#include <unistd.h>

#include <array>
#include <cerrno>

#include "tools/ownerd/owner_log.h"

namespace ownerd {
namespace {

constexpr size_t kLongestLine = 4000;
constexpr int kMostReadsAtTheEnd = 64;

}  // namespace

bool LineLimit::IsNewSecond(TimePoint now) const
{
    return now - second_ >= std::chrono::seconds(1);
}

bool LineLimit::Pass(TimePoint now)
{
    if (IsNewSecond(now)) {
        second_ = now;
        passed_ = 0;
    }
    if (passed_ == kLinesInOneSecond) {
        ++dropped_;
        return false;
    }
    ++passed_;
    return true;
}

ApplicationOutput::ApplicationOutput(EventLoop& loop, UniqueFd pipe, std::string name)
    : name_(std::move(name)), watch_(loop, std::move(pipe), [this] {
          if (ReadSome() == Read::End) {
              watch_.Reset();
          }
      })
{
}

ApplicationOutput::~ApplicationOutput()
{
    if (!rest_.empty()) {
        TakeLine(rest_);
    }
    TellDropped();
}

void ApplicationOutput::Drain()
{
    for (int i = 0; i < kMostReadsAtTheEnd && watch_ && ReadSome() == Read::Some; ++i) {}
}

// One piece in one round of the loop.
ApplicationOutput::Read ApplicationOutput::ReadSome()
{
    std::array<char, 16384> buffer{};
    const ssize_t count = ::read(watch_.Get(), buffer.data(), buffer.size());
    if (count <= 0) {
        return count < 0 && (errno == EAGAIN || errno == EINTR) ? Read::Nothing : Read::End;
    }
    rest_.append(buffer.data(), static_cast<size_t>(count));
    TakeLines();
    return Read::Some;
}

void ApplicationOutput::TakeLines()
{
    size_t start = 0;
    for (size_t end = 0; (end = rest_.find('\n', start)) != std::string::npos; start = end + 1) {
        TakeLine(rest_.substr(start, end - start));
    }
    rest_.erase(0, start);
    if (rest_.size() > kLongestLine) {
        TakeLine(rest_);
        rest_.clear();
    }
}

void ApplicationOutput::TakeLine(const std::string& line)
{
    const TimePoint now = Clock::now();
    if (limit_.IsNewSecond(now)) {
        TellDropped();
    }
    if (limit_.Pass(now)) {
        LogInfo(name_, line.substr(0, kLongestLine));
    }
}

void ApplicationOutput::TellDropped()
{
    if (const size_t dropped = limit_.TakeDropped(); dropped > 0) {
        LogWarning(name_, "printed too fast, " + std::to_string(dropped) + " lines dropped");
    }
}

}  // namespace ownerd
