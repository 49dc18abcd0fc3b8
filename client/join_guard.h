// Joins the senders of a fan-out that an exception unwinds.
#ifndef OWNERLINK_CLIENT_JOIN_GUARD_H
#define OWNERLINK_CLIENT_JOIN_GUARD_H

namespace Ownerlink {

// `Infos` maps resource files to records with a member `thread`. Declared behind the map, so that
// no record goes while its sender still runs; the exception then reaches the caller.
template <typename Infos>
class JoinGuard {
public:
    explicit JoinGuard(Infos& infos) : infos_(infos) {}
    ~JoinGuard()
    {
        for (auto& [resFileName, info] : infos_) {
            if (info.thread.joinable()) {
                info.thread.join();
            }
        }
    }
    JoinGuard(const JoinGuard&) = delete;
    JoinGuard& operator=(const JoinGuard&) = delete;

private:
    Infos& infos_;
};

}  // namespace Ownerlink

#endif
