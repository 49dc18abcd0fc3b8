// The manager's side of a change for its own use: no text of an application is copied but into the
// one that the items share, and none of an answer at all.
#ifndef OWNERLINK_WIRE_CHANGE_APP_CODEC_H
#define OWNERLINK_WIRE_CHANGE_APP_CODEC_H

#include <ownerlink/wire.h>

#include <vector>

#include "foundation/text_writer.h"
#include "wire/change_share.h"
#include "wire/windows.h"

namespace Ownerlink::Serialization {

// As PackChangeAppInfoRequest does it. The items' texts lie in the writer's; after a false the
// items are of no use.
bool PackChangeShare(const ChangeShare& share, ProcMgr::TextWriter& writer,
                     std::vector<ProcMgr::ItemView>& items);

// As UnPackChangeAppInfoResponseMsg does it.
bool UnPackChangeStates(const ProcMgr::OwnerlinkResponseMsg& resp, bool& result,
                        ChangeStates& states);

}  // namespace Ownerlink::Serialization

#endif
