// Names that the processes of the system share. Each unit has its own copies, made at load.
#ifndef OWNERLINK_FOUNDATION_CONSTANTS_H
#define OWNERLINK_FOUNDATION_CONSTANTS_H

#include <string>

namespace ProcMgr {

const std::string PROCMGR_NAME = "PROCMGR";
const std::string EMPTY_STR;
const std::string PROC_DIR = "/proc/";
const std::string DATAMASTER_NAME = "datamaster";
const std::string IAM_MGR_NAME = "iammgr";
const std::string EM_NAME = "EM";
const std::string CGROUP_CPU_DIR = "/sys/fs/cgroup/cpu/";
const std::string CGROUP_MEMORY_DIR = "/sys/fs/cgroup/memory/";
const std::string CGROUP_CPUSET_DIR = "/sys/fs/cgroup/cpuset/";
const std::string CGROUP_BLKIO_DIR = "/sys/fs/cgroup/blkio/";
const std::string PROC_NAME_ENV = "PROC_NAME";
const std::string AOS_TYPE_ENV = "AOS_TYPE";
const std::string DATAMASTER_RUN_MODE_ENV = "DATAMASTER_RUN_MODE";
const std::string PM_NAME = "PM";
const std::string PM_AGENT_NAME = "PM_AGENT";
const std::string SS_AGENT_NAME = "SS_AGENT";
const std::string SS_SERVER_NAME = "SS_SERVER";

}  // namespace ProcMgr

#endif
