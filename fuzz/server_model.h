// What the server end answers to a request, from the rules of its handlers: the callback's
// arguments by the plain readers, and the response by plain writers.
#ifndef OWNERLINK_FUZZ_SERVER_MODEL_H
#define OWNERLINK_FUZZ_SERVER_MODEL_H

#include <ownerlink/wire.h>

#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/outcome_text.h"

namespace fuzz {

// What the callbacks answer to one request.
struct Reply {
    bool verdict = false;
    std::vector<std::string> names;  // of the applications that they tell of
    uint32_t number = 0;             // their state, pid and status
};

// Which callbacks are registered.
struct Registered {
    bool change = false;
    bool changeWithTimeOut = false;
    bool state = false;
    bool stateWithTimeOut = false;
    bool cancel = false;
    bool reload = false;
    bool dump = false;
    bool stopAll = false;
    bool list = false;
    bool verify = false;
    bool query = false;
};

// A response before it is copied out: `data` is followed by zeros.
struct Response {
    uint64_t size = 0;
    std::string data;
};

class ServerModel {
public:
    explicit ServerModel(const Registered& registered) : registered_(registered) {}

    void Advance(int64_t milliseconds) { now_ += milliseconds; }

    // Appends to `asked` how the callback is called, if it is.
    Response Answer(uint32_t command, const ProcMgr::OwnerlinkRequestMsg& request,
                    const Reply& reply, OutcomeText& asked);

private:
    Response Change(const ProcMgr::OwnerlinkRequestMsg& request, const Reply& reply,
                    OutcomeText& asked) const;
    Response State(const ProcMgr::OwnerlinkRequestMsg& request, const Reply& reply,
                   OutcomeText& asked);
    Response Cancel(const ProcMgr::OwnerlinkRequestMsg& request, const Reply& reply,
                    OutcomeText& asked);
    Response List(const Reply& reply, OutcomeText& asked) const;
    Response Verify(const ProcMgr::OwnerlinkRequestMsg& request, const Reply& reply,
                    OutcomeText& asked) const;
    Response Query(const ProcMgr::OwnerlinkRequestMsg& request, const Reply& reply,
                   OutcomeText& asked) const;

    Registered registered_;
    int64_t now_ = 0;
    int64_t cancelledAt_ = 0;
    bool isCancelPending_ = false;
    int state_ = 0;
};

}  // namespace fuzz

#endif
