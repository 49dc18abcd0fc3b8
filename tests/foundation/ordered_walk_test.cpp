// Keys looked up in a map in their order, out of it, and where the map lacks them.
#include "foundation/ordered_walk.h"

#include <gmock/gmock.h>

#include <map>
#include <string>

using ProcMgr::OrderedWalk;
using testing::ElementsAre;
using testing::Pair;

namespace {

using Numbers = std::map<std::string, int>;

}  // namespace

TEST(OrderedWalk, AddsWhatIsMissingAndKeepsWhatIsThere)
{
    Numbers numbers = {{"b", 2}, {"d", 4}};
    OrderedWalk walk(numbers);

    for (const char* const key : {"d", "a", "b", "c", "e", "a"}) {
        walk.ValueOf(std::string(key)) += 10;
    }

    EXPECT_THAT(numbers, ElementsAre(Pair("a", 20), Pair("b", 12), Pair("c", 10), Pair("d", 14),
                                     Pair("e", 10)));
}
