// Shows abidw every record of the public headers, of the platform's interface and of its double,
// those too that the libraries' own functions only reach behind a type of the C++ library.
#include <ownerlink/process_manager.h>
#include <ownerlink/records.h>
#include <ownerlink/wire.h>

#include "platform/fake/fake_platform.h"
#include "platform/iam_file.h"
#include "platform/iam_queue.h"

void ShowPublicRecords(AppInfo&, AppInfoForServer&, AppChangeInfo&, QueryAppStatusMsg&, AppStatus&,
                       SysEvent&, CoreAffinityConfig&, ChangeAppResult&, AppChangeState&)
{
}

void ShowProcessManagerRecords(ProcMgr::Message::RequestMsg&, ProcMgr::Message::StartAppInfo&,
                               ProcMgr::Message::RestartAppInfo&, ProcMgr::Message::TermAppInfo&,
                               ProcMgr::Message::AppStateInfo&, ProcMgr::Message::AppExecInfo&,
                               ProcMgr::Message::BaseServiceStateInfo&,
                               ProcMgr::Message::StartupCfgInfo&)
{
}

void ShowPlatformRecords(IAMIoctlArg&, IAMFileOps&, IAMServiceDesc&, IamQfsMgrFile&, IAMShmPool&,
                         IAMShmBlock&, IAMQueueOps&, IAMQueueServiceDesc&, IAMShmPoolConfig&)
{
}

void ShowRecordsOfTheDouble(OwnerlinkFake::LogRecord&, OwnerlinkFake::LevelQuery&,
                            OwnerlinkFake::Result&, OwnerlinkFake::Exchange&,
                            OwnerlinkFake::Service&, OwnerlinkFake::QueueService&,
                            OwnerlinkFake::AsyncReader&, OwnerlinkFake::PipeCall&)
{
}
