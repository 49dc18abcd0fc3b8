#include "tools/ownerd/config_section.h"

#include <algorithm>
#include <set>
#include <utility>

namespace ownerd {

using ProcMgr::KvsTypeYaml;

void Findings::Add(const std::string& key, const std::string& text)
{
    lines_.push_back(file_ + ": " + (key.empty() ? "" : key + ": ") + text);
}

void Findings::Expected(const std::string& key, const std::string& what, const std::string& found)
{
    const bool isPhrase = found.rfind("with ", 0) == 0;
    Add(key, "expected " + what + (isPhrase ? ", not one " : ", not ") + found);
}

// An empty text is a scalar too, which only the second question tells.
bool IsScalar(const KvsTypeYaml& node)
{
    return !node.GetString().empty() || node.GetIsNullOfScalarType();
}

// A node that is neither a scalar nor a filled list is left to be asked, since the node class
// writes a record to syslog for asking one that is no mapping.
bool IsMapping(const KvsTypeYaml& node)
{
    std::vector<KvsTypeYaml> ignored;
    return !IsScalar(node) && node.GetSequenceYamlNode().empty() && node.GetArray(ignored);
}

std::string Describe(const KvsTypeYaml& node)
{
    if (node.GetIsNullOfScalarType()) {
        return "nothing";
    }
    if (IsScalar(node)) {
        return '"' + node.GetString() + '"';
    }
    return IsMapping(node) ? "a mapping" : "a list";
}

Section::Section(const KvsTypeYaml& node, std::string path, Findings& findings)
    : path_(std::move(path)), findings_(findings)
{
    if (!IsMapping(node)) {
        findings_.Expected(path_, "a mapping", Describe(node));
        return;
    }
    isMapping_ = true;
    node.GetArray(entries_);
    std::set<std::string> seen;
    for (const KvsTypeYaml& entry : entries_) {
        if (!seen.insert(entry.GetKey()).second) {
            findings_.Add(PathOf(entry.GetKey()), "expected once, and stands there again");
        }
    }
}

bool Section::ReadTexts(const std::string& key, std::map<std::string, std::string>& out,
                        const std::string& expected)
{
    const KvsTypeYaml* const node = Find(key);
    if (node == nullptr) {
        return false;
    }
    Section texts(*node, PathOf(key), findings_);
    for (const KvsTypeYaml& entry : texts.Entries()) {
        if (IsScalar(entry)) {
            out[entry.GetKey()] = entry.GetString();
        } else {
            findings_.Expected(texts.PathOf(entry.GetKey()), expected, Describe(entry));
        }
    }
    return true;
}

const KvsTypeYaml* Section::ReadNode(const std::string& key)
{
    return Find(key);
}

void Section::Require(bool isThere, const std::string& key, const std::string& expected)
{
    if (!isThere && isMapping_) {
        findings_.Add(PathOf(key), "missing; expected " + expected);
    }
}

void Section::RefuseOthers()
{
    for (const KvsTypeYaml& entry : entries_) {
        if (std::find(known_.begin(), known_.end(), entry.GetKey()) == known_.end()) {
            findings_.Add(PathOf(entry.GetKey()), "no such key; expected one of " + KnownKeys());
        }
    }
}

std::string Section::PathOf(const std::string& key) const
{
    return path_.empty() ? key : path_ + '.' + key;
}

const std::vector<KvsTypeYaml>& Section::Entries()
{
    return entries_;
}

const KvsTypeYaml* Section::Find(const std::string& key)
{
    known_.push_back(key);
    const auto found =
        std::find_if(entries_.begin(), entries_.end(),
                     [&](const KvsTypeYaml& entry) { return entry.GetKey() == key; });
    return found == entries_.end() ? nullptr : &*found;
}

std::string Section::KnownKeys() const
{
    std::string keys;
    for (const std::string& key : known_) {
        keys += (keys.empty() ? "" : ", ") + key;
    }
    return keys;
}

}  // namespace ownerd
