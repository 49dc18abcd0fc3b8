// Tells the service manager that has started this owner how it is.
#ifndef OWNERLINK_TOOLS_OWNERD_SERVICE_NOTIFY_H
#define OWNERLINK_TOOLS_OWNERD_SERVICE_NOTIFY_H

#include <string>

namespace ownerd {

// Sends "READY=1" and the like to $NOTIFY_SOCKET; without one nothing happens.
void NotifyService(const std::string& state);
// The two messages of a reload: one at its begin, one at its end.
void NotifyReloading();

}  // namespace ownerd

#endif
