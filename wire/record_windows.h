// Records from items whose texts lie elsewhere: the manager's own way, which copies none of them.
#ifndef OWNERLINK_WIRE_RECORD_WINDOWS_H
#define OWNERLINK_WIRE_RECORD_WINDOWS_H

#include <ownerlink/wire.h>

#include <vector>

#include "wire/windows.h"

namespace Ownerlink::Serialization {

// As the public function of this name does it.
bool ProcMgrCombinePiecesMsg(std::vector<ProcMgr::ItemView>& items,
                             std::vector<ProcMgr::OwnerlinkRequestMsg>& msgs);

}  // namespace Ownerlink::Serialization

#endif
