// Lines of standard input, with a way out of the waiting.
#ifndef OWNERLINK_TOOLS_CTL_LINE_READER_H
#define OWNERLINK_TOOLS_CTL_LINE_READER_H

#include <optional>
#include <string>

#include "tools/ctl/stop.h"

namespace ctl {

class LineReader {
public:
    enum class Result { kLine, kEnd, kStopped };

    // The last line need not be ended. After a stop what has been read of the line is dropped.
    Result Read(std::string& line, const Stop& stop);

private:
    bool TakeLine(std::string& line);

    std::string rest_;
    bool isAtEnd_ = false;
};

}  // namespace ctl

#endif
