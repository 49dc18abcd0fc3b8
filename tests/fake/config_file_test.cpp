#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "tests/fake/bound_calls.h"
#include "tests/support/platform_test.h"

namespace {

using ::testing::ElementsAre;

const std::string kPath = platform::kConfigPath;

std::string Contents(std::FILE* file)
{
    std::string text;
    for (int byte = std::fgetc(file); byte != EOF; byte = std::fgetc(file)) {
        text.push_back(static_cast<char>(byte));
    }
    std::fclose(file);
    return text;
}

std::string ResolveToHeap(const std::string& path)
{
    const std::unique_ptr<char, decltype(&std::free)> resolved(
        Bound::Realpath(path.c_str(), nullptr), &std::free);
    return resolved == nullptr ? "" : resolved.get();
}

class ConfigFile : public PlatformTest {};

TEST_F(ConfigFile, IsAbsentAtFirst)
{
    char resolved[4096];

    EXPECT_EQ(Bound::Access(kPath.c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(Bound::Realpath(kPath.c_str(), resolved), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(Bound::Fopen(kPath.c_str()), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(ConfigFile, HoldsTheTextThatIsSet)
{
    platform::SetConfig("a: 1\n");
    char resolved[4096];

    EXPECT_EQ(Bound::Access(kPath.c_str()), 0);
    EXPECT_STREQ(Bound::Realpath(kPath.c_str(), resolved), kPath.c_str());
    EXPECT_EQ(ResolveToHeap(kPath), kPath);
    EXPECT_EQ(Contents(Bound::Fopen(kPath.c_str())), "a: 1\n");
    EXPECT_THAT(platform::Calls(),
                ElementsAre("access(" + kPath + ",F_OK)=0", "realpath(" + kPath + ")=" + kPath,
                            "realpath(" + kPath + ")=" + kPath, "fopen(" + kPath + ",rb)=stream"));
}

TEST_F(ConfigFile, MayBeEmpty)
{
    platform::SetConfig("");

    EXPECT_EQ(Bound::Access(kPath.c_str()), 0);
    EXPECT_EQ(Contents(Bound::Fopen(kPath.c_str())), "");
}

TEST_F(ConfigFile, MayBeUnreadable)
{
    platform::SetUnreadableConfig();

    EXPECT_EQ(Bound::Access(kPath.c_str()), 0);
    EXPECT_EQ(ResolveToHeap(kPath), kPath);
    EXPECT_EQ(Bound::Fopen(kPath.c_str()), nullptr);
    EXPECT_EQ(errno, EACCES);
}

TEST_F(ConfigFile, CanBeTakenAway)
{
    platform::SetConfig("a: 1\n");
    platform::RemoveConfig();

    EXPECT_EQ(Bound::Access(kPath.c_str()), -1);
}

TEST_F(ConfigFile, ResolvesUnderTheFortifiedSpelling)
{
    platform::SetConfig("a: 1\n");

    EXPECT_EQ(Bound::FortifiedRealpath(kPath.c_str()), kPath);
}

TEST_F(ConfigFile, LeavesOtherPathsToTheSystem)
{
    EXPECT_EQ(Bound::Access("/dev/null"), 0);
    EXPECT_EQ(ResolveToHeap("/dev/../dev/null"), "/dev/null");
    EXPECT_EQ(Contents(Bound::Fopen("/dev/null")), "");
    EXPECT_EQ(Bound::Access("/no/such/file"), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(Bound::Fopen("/no/such/file"), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(ConfigFile, TakesSetResultsByPath)
{
    platform::SetConfig("a: 1\n");
    platform::SetNext("access", {platform::Fails(ELOOP)}, kPath);
    platform::SetNext("realpath", {platform::Fails(ENAMETOOLONG)});
    platform::SetNext("fopen", {platform::Fails(EMFILE)}, "/dev/null");

    EXPECT_EQ(Bound::Access(kPath.c_str()), -1);
    EXPECT_EQ(errno, ELOOP);
    EXPECT_EQ(ResolveToHeap(kPath), "");
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_EQ(Bound::Fopen("/dev/null"), nullptr);
    EXPECT_EQ(errno, EMFILE);
}

}  // namespace
