// The states of a share's applications, met in the order of their names and in any other.
#include "wire/change_share.h"

#include <gmock/gmock.h>

namespace {

using Ownerlink::ChangeStates;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class ChangeShareStates : public testing::Test {
protected:
    void Ask(const std::vector<std::string>& names)
    {
        for (const std::string& name : names) {
            applications.emplace_back().appName = name;
        }
        Ownerlink::ChangeShare share;
        for (const AppInfo& application : applications) {
            share.push_back(&application);
        }
        states.Init(share);
    }

    std::vector<std::pair<std::string, AppChangeState>> All() const
    {
        std::vector<std::pair<std::string, AppChangeState>> all;
        states.ForEach(
            [&all](std::string_view name, AppChangeState state) { all.emplace_back(name, state); });
        return all;
    }

    std::vector<AppInfo> applications;
    ChangeStates states;
};

}  // namespace

TEST_F(ChangeShareStates, HoldNothingForAnEmptyShare)
{
    Ask({});

    EXPECT_THAT(All(), IsEmpty());
    EXPECT_EQ(states.Size(), 0u);
    EXPECT_EQ(states.Of("a"), INIT);
}

TEST_F(ChangeShareStates, StandAtInitInTheOrderOfTheNames)
{
    Ask({"b", "c", "a"});

    EXPECT_THAT(All(), ElementsAre(Pair("a", INIT), Pair("b", INIT), Pair("c", INIT)));
}

TEST_F(ChangeShareStates, HoldARepeatedNameOnce)
{
    Ask({"b", "a", "b", "", "a", ""});

    EXPECT_THAT(All(), ElementsAre(Pair("", INIT), Pair("a", INIT), Pair("b", INIT)));
    EXPECT_EQ(states.Size(), 3u);
}

TEST_F(ChangeShareStates, TakeStatesInAnyOrder)
{
    Ask({"a", "b", "c", "d"});

    states.Set("b", PROCESSING);
    states.Set("c", TERM_FAILED);
    states.Set("a", SUCCESS);
    states.Set("d", START_FAILED);
    states.Set("c", RESTART_FAILED);

    EXPECT_THAT(All(), ElementsAre(Pair("a", SUCCESS), Pair("b", PROCESSING),
                                   Pair("c", RESTART_FAILED), Pair("d", START_FAILED)));
    EXPECT_EQ(states.Of("d"), START_FAILED);
    EXPECT_EQ(states.Of("a"), SUCCESS);
    EXPECT_EQ(states.Of("b"), PROCESSING);
    EXPECT_EQ(states.Of("b"), PROCESSING);
}

TEST_F(ChangeShareStates, HoldNamesThatWereNotAskedForInTheirPlaces)
{
    Ask({"b", "d"});

    for (const char* const name : {"e", "c", "", "a", "bb", "e"}) {
        states.Set(name, SUCCESS);
    }
    states.Set("d", PROCESSING);

    EXPECT_THAT(All(), ElementsAre(Pair("", SUCCESS), Pair("a", SUCCESS), Pair("b", INIT),
                                   Pair("bb", SUCCESS), Pair("c", SUCCESS), Pair("d", PROCESSING),
                                   Pair("e", SUCCESS)));
    EXPECT_EQ(states.Size(), 7u);
}

// A record's bytes are gone when the states are read.
TEST_F(ChangeShareStates, KeepNoViewOfANameThatTheyAreGiven)
{
    Ask({"asked"});
    std::string asked = "asked";
    std::string other = "other";

    states.Set(asked, SUCCESS);
    states.Set(other, SUCCESS);
    asked.assign(asked.size(), 'x');
    other.assign(other.size(), 'x');

    EXPECT_THAT(All(), ElementsAre(Pair("asked", SUCCESS), Pair("other", SUCCESS)));
}

TEST_F(ChangeShareStates, OrderNamesByTheirBytesAsUnsignedOnes)
{
    Ask({"\xff", "z"});
    states.Set("\xfe", SUCCESS);

    EXPECT_THAT(All(), ElementsAre(Pair("z", INIT), Pair("\xfe", SUCCESS), Pair("\xff", INIT)));
}
