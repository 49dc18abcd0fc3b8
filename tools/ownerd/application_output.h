// Takes what an application prints into the owner's log, line by line.
#ifndef OWNERLINK_TOOLS_OWNERD_APPLICATION_OUTPUT_H
#define OWNERLINK_TOOLS_OWNERD_APPLICATION_OUTPUT_H

#include <string>

#include "tools/ownerd/event_loop.h"

namespace ownerd {

// Lets some lines of each second pass and counts the rest, so that one application that floods its
// output neither holds up the owner nor drowns the others.
class LineLimit {
public:
    static constexpr size_t kLinesInOneSecond = 1000;

    bool Pass(TimePoint now);
    // What has been dropped and not yet told.
    size_t TakeDropped() { return std::exchange(dropped_, 0); }
    bool IsNewSecond(TimePoint now) const;

private:
    TimePoint second_{};
    size_t passed_ = 0;
    size_t dropped_ = 0;
};

class ApplicationOutput {
public:
    ApplicationOutput(EventLoop& loop, UniqueFd pipe, std::string name);
    ~ApplicationOutput();

    // Takes what stands in the pipe now; called when the application has gone.
    void Drain();

private:
    enum class Read { Some, Nothing, End };
    Read ReadSome();
    void TakeLines();
    void TakeLine(const std::string& line);
    void TellDropped();

    std::string name_;
    std::string rest_;  // of a line that has not ended
    LineLimit limit_;
    FdWatch watch_;
};

}  // namespace ownerd

#endif
