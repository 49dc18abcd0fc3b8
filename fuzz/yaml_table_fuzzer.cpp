// The manager's table of owners and the node that it is read through, from any file.
//
// The table is held against one that is read from libyaml's own document by the rules of the file,
// and each number of the document against a standard stream's.
#include <ownerlink/yaml_node.h>
#include <yaml.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "client/OwnerlinkClientImpl.h"
#include "fuzz/plain_text.h"
#include "fuzz/script.h"
#include "platform/fake/fake_platform.h"

namespace {

using fuzz::Require;
using ProcMgr::KvsTypeYaml;

constexpr int kMostDepth = 8;
constexpr size_t kMostNodes = 20000;  // aliases make a small file a large tree

// ---- The document by libyaml alone ----

class Document {
public:
    explicit Document(const std::string& text)
    {
        yaml_parser_t parser;
        yaml_parser_initialize(&parser);
        yaml_parser_set_input_string(&parser, reinterpret_cast<const unsigned char*>(text.data()),
                                     text.size());
        isLoaded_ = yaml_parser_load(&parser, &document_) != 0;
        yaml_parser_delete(&parser);
    }
    ~Document()
    {
        if (isLoaded_) {
            yaml_document_delete(&document_);
        }
    }
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    const yaml_node_t* Root()
    {
        return isLoaded_ ? yaml_document_get_root_node(&document_) : nullptr;
    }
    const yaml_node_t& Node(int index) { return *yaml_document_get_node(&document_, index); }

private:
    yaml_document_t document_{};
    bool isLoaded_ = false;
};

// Up to the first zero byte.
std::string TextOf(const yaml_node_t& node)
{
    if (node.type != YAML_SCALAR_NODE) {
        return "";
    }
    const std::string text(reinterpret_cast<const char*>(node.data.scalar.value),
                           node.data.scalar.length);
    return text.substr(0, text.find('\0'));
}

template <typename Number>
Number NumberIn(const std::string& text)
{
    Number number = 0;
    fuzz::PlainText(text).Extract(number);
    return number;
}

// ---- The table ----

using Table = std::array<std::string, 3>;  // by group; a file's name, or empty

// One node serves all three keys: a missing one reads what was read before it.
struct Entry {
    Document& document;
    const yaml_node_t& entry;
    const yaml_node_t* last = nullptr;

    void Find(const std::string& key)
    {
        if (entry.type != YAML_MAPPING_NODE) {
            return;
        }
        const auto& pairs = entry.data.mapping.pairs;
        for (const yaml_node_pair_t* pair = pairs.start; pair < pairs.top; ++pair) {
            if (TextOf(document.Node(pair->key)) == key) {
                last = &document.Node(pair->value);
                return;
            }
        }
    }
    std::string Text() const { return last == nullptr ? "" : TextOf(*last); }
};

void AddEntry(Entry entry, Table& table)
{
    entry.Find("OsType");
    if (NumberIn<int>(entry.Text()) != 0) {
        return;
    }
    entry.Find("GroupOwner");
    const int group = NumberIn<int>(entry.Text());
    if (group < 0 || group > 2) {
        return;
    }
    entry.Find("SecVfs");
    table.at(static_cast<size_t>(group)) = entry.Text();
}

Table TableOf(Document& document)
{
    Table table;
    const yaml_node_t* const root = document.Root();
    if (root == nullptr || root->type != YAML_MAPPING_NODE) {
        return table;
    }
    const auto& pairs = root->data.mapping.pairs;
    for (const yaml_node_pair_t* pair = pairs.start; pair < pairs.top; ++pair) {
        AddEntry({document, document.Node(pair->value)}, table);
    }
    return table;
}

void CompareTables(Document& document)
{
    Ownerlink::OwnerlinkClientImpl client;
    Require(client.LoadSecvfsCfg() == (document.Root() != nullptr));
    const Table expected = TableOf(document);
    for (const GroupOwner group : {DATAMASTER, IAM, APPMGR}) {
        const std::string got = client.GetResFileName(DP, group);
        if (got != expected.at(group)) {
            std::cerr << "group " << group << " has '" << got << "', expected '"
                      << expected.at(group) << "'\n";
            std::abort();
        }
    }
    Require(client.GetResFileName(SD, DATAMASTER).empty());
}

// ---- The nodes ----

class Comparison {
public:
    explicit Comparison(Document& document) : document_(document) {}

    void Compare(const KvsTypeYaml& got, const yaml_node_t& expected, int depth)
    {
        if (depth == 0 || ++nodes_ > kMostNodes) {
            return;
        }
        CompareScalar(got, expected);
        CompareSequence(got, expected, depth);
        CompareMapping(got, expected, depth);
    }

private:
    static void CompareScalar(const KvsTypeYaml& got, const yaml_node_t& expected)
    {
        const std::string text = TextOf(expected);
        std::string lower = text;
        std::transform(lower.begin(), lower.end(), lower.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        Require(got.GetString() == text);
        Require(got.GetInt() == NumberIn<int>(text));
        Require(got.GetUint64() == NumberIn<uint64_t>(text));
        Require(got.GetBool() == (lower.find("true") != std::string::npos));
        Require(got.GetIsNullOfScalarType() == (expected.type == YAML_SCALAR_NODE && text.empty()));
    }

    void CompareSequence(const KvsTypeYaml& got, const yaml_node_t& expected, int depth)
    {
        const std::vector<KvsTypeYaml> nodes = got.GetSequenceYamlNode();
        const auto numbers = got.GetSequenceUint32();
        const auto texts = got.GetSequenceString();
        const auto& items = expected.data.sequence.items;
        const auto count =
            expected.type == YAML_SEQUENCE_NODE ? static_cast<size_t>(items.top - items.start) : 0;
        Require(nodes.size() == count && numbers.size() == count && texts.size() == count);
        for (size_t i = 0; i < count; ++i) {
            const yaml_node_t& item = document_.Node(items.start[i]);
            Require(numbers[i] == NumberIn<uint32_t>(TextOf(item)));
            Require(texts[i] == TextOf(item) && nodes[i].GetKey().empty());
            Compare(nodes[i], item, depth - 1);
        }
    }

    void CompareMapping(const KvsTypeYaml& got, const yaml_node_t& expected, int depth)
    {
        std::vector<KvsTypeYaml> values;
        const bool isMapping = expected.type == YAML_MAPPING_NODE;
        Require(got.GetArray(values) == isMapping);
        for (size_t i = 0; i < values.size(); ++i) {
            const yaml_node_pair_t& pair = expected.data.mapping.pairs.start[i];
            const std::string key = TextOf(document_.Node(pair.key));
            KvsTypeYaml found;
            Require(values[i].GetKey() == key);
            Require(got.GetSubKvs(key, found) && found.GetKey() == key);
            Compare(values[i], document_.Node(pair.value), depth - 1);
        }
        KvsTypeYaml none;
        Require(isMapping || (values.empty() && !got.GetSubKvs("key", none)));
    }

    Document& document_;
    size_t nodes_ = 0;
};

void CompareNodes(Document& document)
{
    KvsTypeYaml root;
    Require(root.InitYamlNode(OwnerlinkFake::kConfigPath) == (document.Root() != nullptr));
    if (document.Root() != nullptr) {
        Comparison(document).Compare(root, *document.Root(), kMostDepth);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    OwnerlinkFake::Reset();
    OwnerlinkFake::SetConfig(text);
    Document document(text);
    CompareTables(document);
    OwnerlinkFake::ClearHistory();
    CompareNodes(document);
    OwnerlinkFake::ClearHistory();
    return 0;
}
