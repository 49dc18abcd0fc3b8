#include "tools/ctl/advice.h"

#include <cerrno>
#include <cstring>

namespace ctl {
namespace {

const char kSeeLog[] = "the owner's log says why";

Advice OnNoAnswer(int error, int timeOut)
{
    if (error == ETIMEDOUT) {
        const std::string limit =
            timeOut < 0 ? "its service's time" : std::to_string(timeOut) + " ms";
        return {"no answer within " + limit,
                "it may still carry the request out; ask with query, or allow more with --timeout"};
    }
    return AdviceOnError(error);
}

}  // namespace

Advice AdviceOnError(int error)
{
    switch (error) {
        case ENOENT:
            return {"not running",
                    "start the owner; it needs the same OWNERLINK_RUNTIME_DIR as this command"};
        case EACCES:
            return {"not permitted",
                    "run as the owner's user or root, or join the group ownerlink"};
        case EPROTO:
            return {"it speaks another version of the protocol",
                    "manager and owners need the same release of the library"};
        case ETIMEDOUT:
            return {"it does not answer", "see whether its process is stopped or overloaded"};
        case EPIPE:
            return {"it died during the exchange", "start it again, and ask with query what holds"};
        case EBUSY:
            return {"it has too many requests in flight", "try again in a moment"};
        case EIO:
            return {"an exception left its callback", kSeeLog};
        default:
            return {std::strerror(error), kSeeLog};
    }
}

Advice AdviceOn(const Fate& fate, int timeOut)
{
    switch (fate.outcome) {
        case Outcome::kDone:
        case Outcome::kAnswers:
            return {};
        case Outcome::kSkipped:
            return {"a walk over all owners leaves it out", "name it to have it asked"};
        case Outcome::kRefused:
            return {"the owner said no", kSeeLog};
        case Outcome::kNotReached:
            return AdviceOnError(fate.error);
        case Outcome::kNoAnswer:
            return OnNoAnswer(fate.error, timeOut);
        case Outcome::kBadAnswer:
            return {"its answer cannot be read", "see that it uses the same library"};
        case Outcome::kNotSent:
            return {"the request does not fit the wire format",
                    "see --dry-run; shorten names and arguments"};
        case Outcome::kNotKnown:
            return {"not known", "set OWNERLINK_LOG=info and try again"};
    }
    return {};
}

std::string ErrorName(int error)
{
    if (error == 0) {
        return "";
    }
    const char* const name = strerrorname_np(error);
    return name == nullptr ? std::to_string(error) : name;
}

}  // namespace ctl
