// What a running verb has around it.
#ifndef OWNERLINK_TOOLS_CTL_SURROUNDINGS_H
#define OWNERLINK_TOOLS_CTL_SURROUNDINGS_H

#include "tools/ctl/event_hub.h"
#include "tools/ctl/output.h"
#include "tools/ctl/session.h"
#include "tools/ctl/stop.h"

namespace ctl {

// All of it is shared by the verbs of a shell but `stop`, which is meant for one.
struct Surroundings {
    Session& session;
    Output& output;
    EventHub& events;
    const Stop& stop;
    bool isForeground = true;
};

}  // namespace ctl

#endif
