// What the tests of the YAML node share: documents from memory, and matchers of their messages.
#ifndef OWNERLINK_TESTS_FOUNDATION_YAML_TEST_H
#define OWNERLINK_TESTS_FOUNDATION_YAML_TEST_H

#include <ownerlink/yaml_node.h>

#include <string>
#include <vector>

#include "tests/support/platform_test.h"

class YamlTest : public PlatformTest {
protected:
    // The root of the document `text`. What happened while it was loaded is forgotten.
    static ProcMgr::KvsTypeYaml Load(const std::string& text)
    {
        ProcMgr::KvsTypeYaml root;
        platform::SetConfig(text);
        EXPECT_TRUE(root.InitYamlNode(platform::kConfigPath));
        platform::ClearHistory();
        return root;
    }

    // The value of `key` in the document `text`.
    static ProcMgr::KvsTypeYaml LoadValue(const std::string& text, const std::string& key)
    {
        ProcMgr::KvsTypeYaml value;
        EXPECT_TRUE(Load(text).GetSubKvs(key, value));
        platform::ClearHistory();
        return value;
    }

    // Has the next nodes of a document be found, up to one that libyaml lacks.
    static void LackNodeAfter(std::size_t found)
    {
        platform::SetNext("yaml_document_get_node", platform::Times(found, platform::Usual()));
        platform::SetNext("yaml_document_get_node", {platform::Fails(0)});
    }
};

// Leaves `node` without its document.
inline void TakeAway(ProcMgr::KvsTypeYaml& node)
{
    const ProcMgr::KvsTypeYaml taken = std::move(node);
}

// A message of `function`; the line in its head is not compared.
inline RecordMatcher YamlMessage(int priority, const std::string& function, const std::string& text)
{
    return SyslogRecord(priority,
                        ::testing::AllOf(::testing::MatchesRegex(" \\[YAMLPARSE\\]\\[" + function +
                                                                 " [1-9][0-9]*\\] .*"),
                                         ::testing::EndsWith("] " + text)));
}

inline std::vector<std::string> Texts(const std::vector<ProcMgr::KvsTypeYaml>& nodes)
{
    std::vector<std::string> texts;
    for (const ProcMgr::KvsTypeYaml& node : nodes) {
        texts.push_back(node.GetKey() + "=" + node.GetString());
    }
    return texts;
}

#endif
