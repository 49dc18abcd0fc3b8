#include "tools/ctl/owner_table.h"

#include <ownerlink/yaml_node.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>

#include "tools/ctl/names.h"

namespace ctl {
namespace {

using ProcMgr::KvsTypeYaml;

constexpr uint32_t kLastGroup = APPMGR;
const char* const kKeys[] = {"OsType", "GroupOwner", "SecVfs"};

// Reads one entry after the other into the table.
class TableReader {
public:
    explicit TableReader(OwnerTable& table) : table_(table) {}
    void Read(const KvsTypeYaml& entry);
    void NameSharedResources();

private:
    // A key that is missing reads as the one before it, as the library has it.
    void TakeKey(const KvsTypeYaml& entry, const char* key, const std::string& readsAs);
    int TakeNumber(const KvsTypeYaml& entry, const char* key, const std::string& readsAs);
    void NameUnreadKeys(const KvsTypeYaml& entry);
    void Add(GroupOwner group, const std::string& resource);
    void Blame(const std::string& text) { table_.mistakes.push_back({entry_, text}); }

    OwnerTable& table_;
    std::string entry_;
    KvsTypeYaml value_;
    std::map<GroupOwner, std::string> entryOf_;
};

bool IsNumber(const std::string& text)
{
    const size_t first = text.find_first_not_of("+-");
    return first <= 1 && text.find_first_not_of("0123456789", first) == std::string::npos;
}

void TableReader::TakeKey(const KvsTypeYaml& entry, const char* key, const std::string& readsAs)
{
    if (!entry.GetSubKvs(key, value_)) {
        Blame(std::string(key) + " is missing; it is read as " + readsAs);
    }
}

int TableReader::TakeNumber(const KvsTypeYaml& entry, const char* key, const std::string& readsAs)
{
    KvsTypeYaml own;
    const bool isGiven = entry.GetSubKvs(key, own);
    TakeKey(entry, key, readsAs);
    const int number = value_.GetInt();
    if (isGiven && !IsNumber(own.GetString())) {
        Blame(std::string(key) + " is \"" + own.GetString() + "\", not a number; it is read as " +
              std::to_string(number));
    }
    return number;
}

void TableReader::NameUnreadKeys(const KvsTypeYaml& entry)
{
    std::vector<KvsTypeYaml> values;
    std::map<std::string, int> seen;
    entry.GetArray(values);
    for (const KvsTypeYaml& value : values) {
        const std::string key = value.GetKey();
        const bool isKnown = std::find(std::begin(kKeys), std::end(kKeys), key) != std::end(kKeys);
        if (!isKnown) {
            Blame("nothing reads the key \"" + key + "\"; known are OsType, GroupOwner and SecVfs");
        } else if (++seen[key] == 2) {
            Blame(key + " stands there twice; the first is read");
        }
    }
}

void TableReader::Read(const KvsTypeYaml& entry)
{
    entry_ = entry.GetKey();
    value_ = {};
    std::vector<KvsTypeYaml> ignored;
    if (!entry.GetArray(ignored)) {
        Blame(
            "the entry is no mapping such as {OsType: 0, GroupOwner: 2, SecVfs: \"...\"}; it is "
            "read as DATAMASTER with an empty SecVfs");
        Add(DATAMASTER, "");
        return;
    }
    NameUnreadKeys(entry);
    const int os = TakeNumber(entry, "OsType", "0");
    if (os != 0) {
        Blame("OsType " + std::to_string(os) + " is not 0; the entry is skipped");
        return;
    }
    const auto group = static_cast<uint32_t>(TakeNumber(entry, "GroupOwner", "0 (DATAMASTER)"));
    if (group > kLastGroup) {
        Blame("GroupOwner " + std::to_string(static_cast<int>(group)) +
              " is not 0, 1 or 2; the entry is skipped");
        return;
    }
    const std::string number = std::to_string(group);
    TakeKey(entry, "SecVfs", "the text of GroupOwner, so \"" + number + "\"");
    const std::string resource = value_.GetString();
    if (resource.empty()) {
        Blame("SecVfs is empty or no text; the owner cannot be opened");
    }
    Add(static_cast<GroupOwner>(group), resource);
}

void TableReader::Add(GroupOwner group, const std::string& resource)
{
    const auto former = entryOf_.find(group);
    if (former != entryOf_.end()) {
        Blame("it replaces the entry \"" + former->second + "\" of the same owner, " +
              GroupText(group));
        std::erase_if(table_.owners, [&](const auto& owner) { return owner.group == group; });
    }
    entryOf_[group] = entry_;
    table_.owners.push_back({DP, group, resource});
}

void TableReader::NameSharedResources()
{
    std::sort(table_.owners.begin(), table_.owners.end(),
              [](const auto& one, const auto& other) { return one.group < other.group; });
    std::map<std::string, GroupOwner> first;
    for (const ConfiguredOwner& owner : table_.owners) {
        const auto [former, isNew] = first.emplace(owner.resource, owner.group);
        if (!isNew) {
            entry_ = entryOf_[owner.group];
            Blame("SecVfs \"" + owner.resource + "\" is that of " + GroupText(former->second) +
                  ", too; the two get one request together");
        }
    }
}

OwnerTable NotLoaded(const std::string& reason)
{
    OwnerTable table;
    table.mistakes.push_back({"", reason});
    return table;
}

}  // namespace

const ConfiguredOwner* OwnerTable::Find(GroupOwner group) const
{
    for (const ConfiguredOwner& owner : owners) {
        if (owner.group == group) {
            return &owner;
        }
    }
    return nullptr;
}

std::set<std::string> OwnerTable::Resources() const
{
    std::set<std::string> resources;
    for (const ConfiguredOwner& owner : owners) {
        resources.insert(owner.resource);
    }
    return resources;
}

std::string OwnerTable::OwnersOf(const std::string& resource) const
{
    std::vector<std::string> texts;
    for (const ConfiguredOwner& owner : owners) {
        if (owner.resource == resource) {
            texts.push_back(GroupText(owner.group));
        }
    }
    return Join(texts, "+");
}

OwnerTable ReadOwnerTable(const std::string& path)
{
    if (access(path.c_str(), R_OK) != 0) {
        return NotLoaded("cannot be read: " + std::string(std::strerror(errno)));
    }
    KvsTypeYaml root;
    if (!root.InitYamlNode(path)) {
        return NotLoaded("is empty or no YAML");
    }
    OwnerTable table;
    table.isLoaded = true;
    std::vector<KvsTypeYaml> entries;
    if (!root.GetArray(entries)) {
        table.mistakes.push_back({"", "is no mapping; expected one entry for each owner"});
    }
    TableReader reader(table);
    for (const KvsTypeYaml& entry : entries) {
        reader.Read(entry);
    }
    reader.NameSharedResources();
    return table;
}

}  // namespace ctl
