// A program as users write them: all public headers, an owner and a manager of it, a pipe and a
// YAML node. Prints what failed; its exit code says whether anything did.
//
//   application YAML-FILE
#include <ownerlink/client.h>
#include <ownerlink/enum_text.h>
#include <ownerlink/log.h>
#include <ownerlink/process_manager.h>
#include <ownerlink/records.h>
#include <ownerlink/server.h>
#include <ownerlink/wire.h>
#include <ownerlink/yaml_node.h>

#include <atomic>
#include <cstring>
#include <iostream>

#include "platform/ezcom.h"
#include "platform/iam_file.h"

namespace {

int failures = 0;

void Expect(bool isSo, const char* what)
{
    if (!isSo) {
        std::cerr << "failed: " << what << "\n";
        ++failures;
    }
}

void SetAStateOnAnOwner()
{
    static std::atomic<int> taken{-1};
    const int published = OwnerlinkServer::GetInstance().RegSetSystemStateCallBackImpl(
        [](int state) {
            taken = state;
            return true;
        },
        "dp:/res/install/owner");

    const uint32_t code = OwnerlinkClient::GetInstance().SetSystemState(ProcMgr::SUSPEND, 2000);

    Expect(published == 0, "the owner is published");
    Expect(code == 0, "the owner is asked and agrees");
    Expect(taken == static_cast<int>(ProcMgr::SUSPEND), "the callback is given the state");
    Expect(ProcMgr::GetSysState(ProcMgr::SUSPEND) == "SUSPEND", "the state has its text");
}

void SendThroughAPipe()
{
    const int name = EzcomListen("dp:/res/install/pipe");
    const int sender = EzcomConnectPipe("dp:/res/install/pipe");
    const int receiver = EzcomAcceptPipe(name, 2000);
    EzcomRequest* const sent = EzcomMakeRequest();
    EzcomRequest* const received = EzcomMakeRequest();

    Expect(EzcomFillRequest(sent, 7, "hello", 5) == 0, "a request is filled");
    Expect(ProcMgr::ProcMgrEzcomSendRequest(sender, sent) >= 0, "a request is sent");
    Expect(EzcomReceiveRequest(receiver, received, 2000) >= 0, "a request is received");
    Expect(EzcomRequestType(received) == 7 && EzcomRequestSize(received) == 5 &&
               std::memcmp(EzcomRequestData(received), "hello", 5) == 0,
           "what is received is what was sent");

    EzcomFreeRequest(received);
    EzcomFreeRequest(sent);
    for (const int pipe : {sender, receiver, name}) {
        EzcomClosePipe(pipe);
    }
}

void ReadYaml(const char* path)
{
    ProcMgr::KvsTypeYaml root;
    ProcMgr::KvsTypeYaml entry;
    ProcMgr::KvsTypeYaml group;
    Expect(root.InitYamlNode(path) && root.GetSubKvs("apps", entry) &&
               entry.GetSubKvs("GroupOwner", group) && group.GetInt() == 2,
           "the file's group is read");
}

void OpenByThePlatformsName()
{
    const int fd = IAMFileOpen("dp:/res/install/owner", 2);
    Expect(fd >= 0, "the platform opens the owner's resource");
    Expect(fd < 0 || IAMFileClose(fd) == 0, "and closes it");
}

}  // namespace

int main(int argc, char** argv)
{
    SetAStateOnAnOwner();
    SendThroughAPipe();
    ReadYaml(argc > 1 ? argv[1] : "");
    OpenByThePlatformsName();
    return failures == 0 ? 0 : 1;
}
