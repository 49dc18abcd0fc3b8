// One mapping of the file, read key by key; every key must be known, and each stands there once.
#ifndef OWNERLINK_TOOLS_OWNERD_CONFIG_SECTION_H
#define OWNERLINK_TOOLS_OWNERD_CONFIG_SECTION_H

#include <ownerlink/yaml_node.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ownerd {

// What is wrong with a file: "FILE: KEY: expected ...". Empty for a good one.
class Findings {
public:
    explicit Findings(std::string file) : file_(std::move(file)) {}

    void Add(const std::string& key, const std::string& text);
    void Expected(const std::string& key, const std::string& what, const std::string& found);
    const std::vector<std::string>& Lines() const { return lines_; }

private:
    std::string file_;
    std::vector<std::string> lines_;
};

// What a node is, for a message: its text in quotes, "a list", "a mapping" or "nothing".
std::string Describe(const ProcMgr::KvsTypeYaml& node);
bool IsScalar(const ProcMgr::KvsTypeYaml& node);
bool IsMapping(const ProcMgr::KvsTypeYaml& node);

class Section {
public:
    template <typename Value>
    using Parser = std::function<std::optional<Value>(const std::string&)>;

    // A node that is no mapping is reported, and the section is empty.
    Section(const ProcMgr::KvsTypeYaml& node, std::string path, Findings& findings);

    bool IsThere() const { return isMapping_; }

    // Each reader leaves `out` as it was when the key is missing or its value is refused; the
    // latter is reported. They give back whether the key is there.
    template <typename Value>
    bool Read(const std::string& key, Value& out, const Parser<Value>& parse,
              const std::string& expected);
    template <typename Value>
    bool ReadList(const std::string& key, std::vector<Value>& out, const Parser<Value>& parse,
                  const std::string& expected);
    bool ReadTexts(const std::string& key, std::map<std::string, std::string>& out,
                   const std::string& expected);
    // The value of a key that holds a section of its own.
    const ProcMgr::KvsTypeYaml* ReadNode(const std::string& key);

    // Reports a key that has to be there and is not; not where the whole section is none.
    void Require(bool isThere, const std::string& key, const std::string& expected);
    // Reports the keys that nobody has read.
    void RefuseOthers();

    std::string PathOf(const std::string& key) const;
    // For sections whose keys are names of their own; all count as read.
    const std::vector<ProcMgr::KvsTypeYaml>& Entries();
    Findings& Report() { return findings_; }

private:
    const ProcMgr::KvsTypeYaml* Find(const std::string& key);
    std::string KnownKeys() const;

    std::string path_;
    Findings& findings_;
    std::vector<ProcMgr::KvsTypeYaml> entries_;
    std::vector<std::string> known_;
    bool isMapping_ = false;
};

template <typename Value>
bool Section::Read(const std::string& key, Value& out, const Parser<Value>& parse,
                   const std::string& expected)
{
    const ProcMgr::KvsTypeYaml* const node = Find(key);
    if (node == nullptr) {
        return false;
    }
    const std::optional<Value> value =
        IsScalar(*node) ? parse(node->GetString()) : std::optional<Value>();
    if (value) {
        out = *value;
    } else {
        findings_.Expected(PathOf(key), expected, Describe(*node));
    }
    return true;
}

template <typename Value>
bool Section::ReadList(const std::string& key, std::vector<Value>& out, const Parser<Value>& parse,
                       const std::string& expected)
{
    const ProcMgr::KvsTypeYaml* const node = Find(key);
    if (node == nullptr) {
        return false;
    }
    if (IsScalar(*node) || (node->GetSequenceYamlNode().empty() && IsMapping(*node))) {
        findings_.Expected(PathOf(key), "a list of " + expected, Describe(*node));
        return true;
    }
    std::vector<Value> values;
    for (const ProcMgr::KvsTypeYaml& item : node->GetSequenceYamlNode()) {
        const auto value = IsScalar(item) ? parse(item.GetString()) : std::optional<Value>();
        if (!value) {
            findings_.Expected(PathOf(key), "a list of " + expected, "with " + Describe(item));
            return true;
        }
        values.push_back(*value);
    }
    out = std::move(values);
    return true;
}

}  // namespace ownerd

#endif
