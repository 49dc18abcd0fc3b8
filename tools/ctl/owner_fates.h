// What became of each owner's part of a call, as the library's records tell it.
#ifndef OWNERLINK_TOOLS_CTL_OWNER_FATES_H
#define OWNERLINK_TOOLS_CTL_OWNER_FATES_H

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tools/ctl/log_capture.h"

namespace ctl {

enum class Outcome {
    kDone,
    kAnswers,  // to a probe
    kRefused,
    kNotReached,  // the request never got there
    kNoAnswer,    // it may have got there
    kBadAnswer,
    kNotSent,  // the request could not be made
    kSkipped,  // none was meant for this owner
    kNotKnown,
};

struct Fate {
    Outcome outcome = Outcome::kNotKnown;
    int error = 0;  // errno of kNotReached and kNoAnswer
};

using RecordFilter = std::function<bool(const LogRecord&)>;

// Records of one sender thread belong to one owner, so `isOurs` need only choose the threads.
std::map<std::string, Fate> FatesOf(const std::vector<LogRecord>& records,
                                    const std::set<std::string>& resources,
                                    const RecordFilter& isOurs);

// Which of the library's threads a record comes from.
RecordFilter FromThreadsNamed(const std::string& name);
RecordFilter FromThisThread();
// Those of SetSystemState that carry `state`: a cancel may overtake another call.
RecordFilter FromSendersOf(int state, const std::vector<LogRecord>& records);

const char* OutcomeText(Outcome outcome);

}  // namespace ctl

#endif
