#include "foundation/constants.h"

#include <gtest/gtest.h>

#include "foundation/log_routes.h"

namespace {

struct ConstantRow {
    const char* name;
    const std::string& constant;
    const char* value;
};

void PrintTo(const ConstantRow& row, std::ostream* out)
{
    *out << row.name;
}

class Constants : public ::testing::TestWithParam<ConstantRow> {};

TEST_P(Constants, HaveTheirValues)
{
    EXPECT_EQ(GetParam().constant, GetParam().value);
}

using namespace ProcMgr;

const ConstantRow rows[] = {
    {"PROCMGR_NAME", PROCMGR_NAME, "PROCMGR"},
    {"EMPTY_STR", EMPTY_STR, ""},
    {"PROC_DIR", PROC_DIR, "/proc/"},
    {"DATAMASTER_NAME", DATAMASTER_NAME, "datamaster"},
    {"IAM_MGR_NAME", IAM_MGR_NAME, "iammgr"},
    {"EM_NAME", EM_NAME, "EM"},
    {"CGROUP_CPU_DIR", CGROUP_CPU_DIR, "/sys/fs/cgroup/cpu/"},
    {"CGROUP_MEMORY_DIR", CGROUP_MEMORY_DIR, "/sys/fs/cgroup/memory/"},
    {"CGROUP_CPUSET_DIR", CGROUP_CPUSET_DIR, "/sys/fs/cgroup/cpuset/"},
    {"CGROUP_BLKIO_DIR", CGROUP_BLKIO_DIR, "/sys/fs/cgroup/blkio/"},
    {"PROC_NAME_ENV", PROC_NAME_ENV, "PROC_NAME"},
    {"AOS_TYPE_ENV", AOS_TYPE_ENV, "AOS_TYPE"},
    {"DATAMASTER_RUN_MODE_ENV", DATAMASTER_RUN_MODE_ENV, "DATAMASTER_RUN_MODE"},
    {"PM_NAME", PM_NAME, "PM"},
    {"PM_AGENT_NAME", PM_AGENT_NAME, "PM_AGENT"},
    {"SS_AGENT_NAME", SS_AGENT_NAME, "SS_AGENT"},
    {"SS_SERVER_NAME", SS_SERVER_NAME, "SS_SERVER"},
};

INSTANTIATE_TEST_SUITE_P(Names, Constants, ::testing::ValuesIn(rows),
                         [](const auto& row) { return row.param.name; });

TEST(LogModules, AreThoseOfTheTwoEnds)
{
    EXPECT_EQ(SS_LOG_MODULE, 54U);
    EXPECT_EQ(GROUP_OWNER_LOG_MODULE, 27U);
    EXPECT_EQ(SS_LOG_MODULE | kMilestone, 16777270U);
    EXPECT_EQ(GROUP_OWNER_LOG_MODULE | kMilestone, 16777243U);
}

}  // namespace
