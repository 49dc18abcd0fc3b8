// The members of the client that no public operation reaches, or not in every state, for the tests
// of their guards; and a reader of answers by itself, for its fuzzer.
#ifndef OWNERLINK_TESTS_CLIENT_CLIENT_INTERNALS_H
#define OWNERLINK_TESTS_CLIENT_CLIENT_INTERNALS_H

#include "client/OwnerlinkClientImpl.h"

namespace Ownerlink {

struct ClientInternals {
    static ChangeShare ShareOf(const std::vector<AppInfo>& appList)
    {
        ChangeShare share;
        for (const AppInfo& app : appList) {
            share.push_back(&app);
        }
        return share;
    }

    static bool SendShare(const OwnerlinkClientImpl& client, const std::string& resFileName,
                          const std::vector<AppInfo>& appList)
    {
        ChangeStates states;
        return client.SendMessageToOwnerForChangeApp(resFileName, ShareOf(appList), states);
    }

    static bool PrepareShare(const OwnerlinkClientImpl& client, const std::string& resFileName,
                             const std::vector<AppInfo>& appList)
    {
        std::vector<OwnerlinkRequestMsg> msgs;
        return client.PrepareMsgForChangeApp(ShareOf(appList), msgs, resFileName);
    }

    static bool TakeAnswers(const OwnerlinkClientImpl& client, const std::string& resFileName,
                            const OwnerlinkResponseMsg& response, std::vector<AppStatus>& answers)
    {
        std::vector<AppStatusView> views;
        const bool isTaken = client.TakeAnswers(resFileName, response, views);
        for (const AppStatusView& view : views) {
            answers.push_back({std::string(view.appName), view.pid, view.status});
        }
        return isTaken;
    }

    static bool Reconnect(OwnerlinkClientImpl& client, int fd)
    {
        return client.TryReconnectOwner(fd);
    }

    static void Watch(OwnerlinkClientImpl& client, int fd, const OwnerDomain& domain)
    {
        client.ownerFdMap_[fd] = domain;
    }

    static size_t Watched(const OwnerlinkClientImpl& client) { return client.ownerFdMap_.size(); }

    static int Deliver(void* buf, unsigned long count)
    {
        return OwnerlinkClientImpl::WakeUpEventCallback(-1, buf, count);
    }
};

}  // namespace Ownerlink

#endif
