// The records of this platform's pipes, for the process manager's two ends.
#ifndef OWNERLINK_EXAMPLES_PORTING_SAMPLE_PIPE_H
#define OWNERLINK_EXAMPLES_PORTING_SAMPLE_PIPE_H

#include <vector>

struct EzcomRequest {
    std::vector<char> bytes;
};

struct EzcomResponse {
    std::vector<char> bytes;
};

#endif
