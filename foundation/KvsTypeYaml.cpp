#include <ownerlink/yaml_node.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>

#include "foundation/log_routes.h"
#include "foundation/make_room.h"
#include "foundation/text_reader.h"

namespace ProcMgr {
namespace {

constexpr char kTag[] = "YAMLPARSE";  // with the function and the line, in front of every record
constexpr size_t kPathCapacity = 4096;

class Parser {
public:
    explicit Parser(FILE* file)
    {
        yaml_parser_initialize(&parser_);
        yaml_parser_set_input_file(&parser_, file);
    }
    ~Parser() { yaml_parser_delete(&parser_); }
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;

    bool Load(yaml_document_t& document) { return yaml_parser_load(&parser_, &document) != 0; }

private:
    yaml_parser_t parser_{};
};

struct FileCloser {
    void operator()(FILE* file) const { static_cast<void>(std::fclose(file)); }
};

// The text up to its first zero byte. A node that is no scalar has none: keys and items of value
// lists are read without a look at their type, and must not be taken for pointers that they lack.
std::string ScalarText(const yaml_node_t& node)
{
    const auto& scalar = node.data.scalar;
    if (node.type != YAML_SCALAR_NODE || scalar.value == nullptr || scalar.length == 0) {
        return "";
    }
    return reinterpret_cast<const char*>(scalar.value);
}

}  // namespace

YamlDocument::~YamlDocument()
{
    if (loaded) {
        yaml_document_delete(&document);
    }
}

bool KvsTypeYaml::InitYamlNode(const std::string& path)
{
    char resolved[kPathCapacity] = {};
    if (realpath(path.c_str(), resolved) == nullptr) {
        SYSLOG_RECORD(LOG_INFO, " [%s][%s %d] file not found, yamlPath=%s", kTag, __func__,
                      __LINE__, path.c_str());
        return false;
    }
    const std::unique_ptr<FILE, FileCloser> file(std::fopen(resolved, "rb"));
    if (file == nullptr) {
        SYSLOG_RECORD(LOG_ERR, " [%s][%s %d] Load yaml=%s failed, open failed", kTag, __func__,
                      __LINE__, path.c_str());
        return false;
    }
    static_cast<void>(std::setvbuf(file.get(), nullptr, _IONBF, 0));  // libyaml buffers itself
    Parser parser(file.get());
    document_ = std::make_shared<YamlDocument>();
    node_ = {};  // it may point into the document that has just been let go
    if (!parser.Load(document_->document)) {
        SYSLOG_RECORD(LOG_ERR, " [%s][%s %d] Load yaml=%s failed, init yaml paser failed", kTag,
                      __func__, __LINE__, path.c_str());
        return false;
    }
    document_->loaded = true;
    const yaml_node_t* const root = yaml_document_get_root_node(&document_->document);
    if (root == nullptr) {
        SYSLOG_RECORD(LOG_ERR, " [%s][%s %d] Load yaml=%s failed, root node is nullptr", kTag,
                      __func__, __LINE__, path.c_str());
        return false;
    }
    node_ = *root;
    return true;
}

std::string KvsTypeYaml::GetKey() const
{
    return key_;
}

// What was moved from has kept its node, whose text was the document's.
std::string KvsTypeYaml::GetString() const
{
    return document_ == nullptr ? "" : ScalarText(node_);
}

bool KvsTypeYaml::GetIsNullOfScalarType() const
{
    return node_.type == YAML_SCALAR_NODE && GetString().empty();
}

bool KvsTypeYaml::GetSubKvs(const std::string& key, KvsTypeYaml& out) const
{
    if (node_.type != YAML_MAPPING_NODE) {
        SYSLOG_RECORD(LOG_WARNING, " [%s][%s %d] Get sub yaml of %s, the type is not map", kTag,
                      __func__, __LINE__, key.c_str());
        return false;
    }
    const auto& pairs = node_.data.mapping.pairs;
    for (const yaml_node_pair_t* pair = pairs.start; pair < pairs.top; ++pair) {
        const yaml_node_t* const value = NodeAt(pair->value);
        const yaml_node_t* const name = NodeAt(pair->key);
        if (value == nullptr || name == nullptr) {
            SYSLOG_RECORD(LOG_ERR, " [%s][%s %d] Get sub yaml of %s failed, node ptr is nullptr",
                          kTag, __func__, __LINE__, key.c_str());
            return false;
        }
        if (ScalarText(*name) == key) {
            out = Child(*value, key);
            return true;
        }
    }
    return false;
}

int KvsTypeYaml::GetInt() const
{
    return LeadingNumber<int>(GetString());
}

uint64_t KvsTypeYaml::GetUint64() const
{
    return LeadingNumber<uint64_t>(GetString());
}

bool KvsTypeYaml::GetBool() const
{
    std::string text = GetString();
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text.find("true") != std::string::npos;
}

// False if libyaml lacks one of the nodes.
bool KvsTypeYaml::Items(std::vector<const yaml_node_t*>& items) const
{
    if (document_ == nullptr || node_.type != YAML_SEQUENCE_NODE) {
        return true;
    }
    const auto& range = node_.data.sequence.items;
    for (const yaml_node_item_t* item = range.start; item < range.top; ++item) {
        items.push_back(NodeAt(*item));
        if (items.back() == nullptr) {
            return false;
        }
    }
    return true;
}

std::vector<uint32_t> KvsTypeYaml::GetSequenceUint32() const
{
    std::vector<const yaml_node_t*> items;
    std::vector<uint32_t> numbers;
    if (!Items(items)) {
        SYSLOG_RECORD(LOG_ERR,
                      " [%s][%s %d] Get uint32 sequence failed, the node ptr is nullptr, "
                      "default as empty",
                      kTag, __func__, __LINE__);
        return numbers;
    }
    for (const yaml_node_t* const item : items) {
        numbers.push_back(LeadingNumber<uint32_t>(ScalarText(*item)));
    }
    return numbers;
}

std::vector<std::string> KvsTypeYaml::GetSequenceString() const
{
    std::vector<const yaml_node_t*> items;
    std::vector<std::string> texts;
    if (!Items(items)) {
        SYSLOG_RECORD(LOG_ERR,
                      " [%s][%s %d] Get string sequence failed, the node ptr is nullptr, "
                      "default as empty",
                      kTag, __func__, __LINE__);
        return texts;
    }
    for (const yaml_node_t* const item : items) {
        texts.push_back(ScalarText(*item));
    }
    return texts;
}

std::vector<KvsTypeYaml> KvsTypeYaml::GetSequenceYamlNode() const
{
    std::vector<const yaml_node_t*> items;
    std::vector<KvsTypeYaml> nodes;
    if (!Items(items)) {
        SYSLOG_RECORD(LOG_ERR,
                      " [%s][%s %d] Get yaml node sequence failed, the node ptr is nullptr, "
                      "default as empty",
                      kTag, __func__, __LINE__);
        return nodes;
    }
    for (const yaml_node_t* const item : items) {
        nodes.push_back(Child(*item, ""));
    }
    return nodes;
}

bool KvsTypeYaml::GetArray(std::vector<KvsTypeYaml>& out) const
{
    if (node_.type != YAML_MAPPING_NODE) {
        SYSLOG_RECORD(LOG_WARNING, " [%s][%s %d] Get yaml array, the type is not map", kTag,
                      __func__, __LINE__);
        return false;
    }
    if (document_ == nullptr) {
        return false;
    }
    const KvsTypeYaml self = *this;  // this node may lie in `out`, and moves then as that grows
    const auto& pairs = self.node_.data.mapping.pairs;
    MakeRoom(out, static_cast<size_t>(pairs.top - pairs.start));
    for (const yaml_node_pair_t* pair = pairs.start; pair < pairs.top; ++pair) {
        const yaml_node_t* const value = self.NodeAt(pair->value);
        const yaml_node_t* const name = self.NodeAt(pair->key);
        if (value == nullptr || name == nullptr) {
            SYSLOG_RECORD(LOG_ERR, " [%s][%s %d] Get yaml array failed, the node ptr is nullptr",
                          kTag, __func__, __LINE__);
            return false;
        }
        out.push_back(self.Child(*value, ScalarText(*name)));
    }
    return true;
}

KvsTypeYaml KvsTypeYaml::Child(const yaml_node_t& node, const std::string& key) const
{
    KvsTypeYaml child;
    child.document_ = document_;
    child.node_ = node;
    child.key_ = key;
    return child;
}

// Null also in a node that was moved from.
const yaml_node_t* KvsTypeYaml::NodeAt(int index) const
{
    return document_ == nullptr ? nullptr : yaml_document_get_node(&document_->document, index);
}

}  // namespace ProcMgr
