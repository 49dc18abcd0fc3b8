// Where one run of an application says that it is ready: the socket of NOTIFY_SOCKET.
#ifndef OWNERLINK_TOOLS_OWNERD_NOTIFY_SOCKET_H
#define OWNERLINK_TOOLS_OWNERD_NOTIFY_SOCKET_H

#include <sys/types.h>

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "tools/ownerd/event_loop.h"

namespace ownerd {

// The assignments of a message, "READY=1" and the like, one on each line.
using Notification = std::map<std::string, std::string>;
Notification ParseNotification(const std::string& text);

// Each run has a socket of its own under a name that nobody can guess, so that a late word of an
// earlier run counts for nothing. What other users than the application's, the owner's and root
// send is dropped.
class NotifySocket {
public:
    using Handler = std::function<void(const Notification&)>;

    // Throws std::system_error where no socket can be made.
    NotifySocket(EventLoop& loop, std::optional<uid_t> user, Handler handler);

    const std::string& Name() const { return name_; }  // as NOTIFY_SOCKET has it

private:
    void Receive();
    bool MaySend(uid_t user) const;

    std::string name_;
    std::optional<uid_t> user_;
    Handler handler_;
    FdWatch watch_;
};

}  // namespace ownerd

#endif
