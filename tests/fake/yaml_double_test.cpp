#include <cerrno>
#include <cstdio>

#include "tests/fake/bound_calls.h"
#include "tests/support/platform_test.h"

namespace {

using platform::Fails;
using platform::Usual;
using ::testing::ElementsAre;

class YamlDouble : public PlatformTest {
protected:
    YamlDouble() { platform::SetConfig("key: value\n"); }

    int Load()
    {
        std::FILE* file = Bound::Fopen(platform::kConfigPath);
        const int loaded = Bound::LoadYaml(file, &document_);
        std::fclose(file);
        return loaded;
    }

    yaml_document_t document_{};
};

TEST_F(YamlDouble, ReadsDocumentsAsTheLibraryDoes)
{
    ASSERT_EQ(Load(), 1);
    EXPECT_EQ(Bound::RootNode(&document_)->type, YAML_MAPPING_NODE);
    EXPECT_EQ(Bound::Node(&document_, 99), nullptr);
    Bound::DeleteYaml(&document_);

    EXPECT_THAT(platform::Calls({"yaml_parser_initialize", "yaml_parser_load", "yaml_parser_delete",
                                 "yaml_document_get_root_node", "yaml_document_get_node",
                                 "yaml_document_delete"}),
                ElementsAre("yaml_parser_initialize()=1", "yaml_parser_load()=1",
                            "yaml_parser_delete()", "yaml_document_get_root_node()=node",
                            "yaml_document_get_node(99)=null", "yaml_document_delete()"));
}

TEST_F(YamlDouble, FailsWhereItIsSet)
{
    platform::SetNext("yaml_parser_initialize", {Fails(0)});
    EXPECT_EQ(Load(), 0);
    platform::SetNext("yaml_parser_load", {Fails(0)});
    EXPECT_EQ(Load(), 0);
}

TEST_F(YamlDouble, LosesTheNodesThatTheTestNames)
{
    ASSERT_EQ(Load(), 1);
    platform::SetNext("yaml_document_get_root_node", {Fails(0)});
    platform::SetNext("yaml_document_get_node", {Usual(), Fails(0)});

    EXPECT_EQ(Bound::RootNode(&document_), nullptr);
    EXPECT_NE(Bound::Node(&document_, 1), nullptr);
    EXPECT_EQ(Bound::Node(&document_, 1), nullptr);
    EXPECT_NE(Bound::Node(&document_, 1), nullptr);
    Bound::DeleteYaml(&document_);
}

}  // namespace
