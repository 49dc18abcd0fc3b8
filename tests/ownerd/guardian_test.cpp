#include "tools/ownerd/guardian.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

using namespace ownerd;

TEST(AwaitFormerGuardian, SaysWhichLockFileItCannotOpenAndWhy)
{
    EXPECT_EQ(AwaitFormerGuardian("/nowhere/below/x.ownerd-lock"),
              "cannot open /nowhere/below/x.ownerd-lock: No such file or directory");
}

TEST(AwaitFormerGuardian, SaysNothingWhereNobodyHoldsTheLock)
{
    std::string directory = testing::TempDir() + "ownerdXXXXXX";
    ASSERT_NE(mkdtemp(directory.data()), nullptr);

    EXPECT_EQ(AwaitFormerGuardian(directory + "/lock"), "");

    std::filesystem::remove_all(directory);
}
