// Reads one application of the file.
#ifndef OWNERLINK_TOOLS_OWNERD_APPLICATION_READER_H
#define OWNERLINK_TOOLS_OWNERD_APPLICATION_READER_H

#include <string>

#include "tools/ownerd/config_section.h"
#include "tools/ownerd/configuration.h"

namespace ownerd {

// `whole` is the configuration so far, whose own values stand.
ApplicationConfig ReadApplication(const ProcMgr::KvsTypeYaml& node, const std::string& path,
                                  const Configuration& whole, Findings& findings);

}  // namespace ownerd

#endif
