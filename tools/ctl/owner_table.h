// The configured owners, read as the library reads them, with every mistake named.
#ifndef OWNERLINK_TOOLS_CTL_OWNER_TABLE_H
#define OWNERLINK_TOOLS_CTL_OWNER_TABLE_H

#include <ownerlink/records.h>

#include <set>
#include <string>
#include <vector>

namespace ctl {

inline constexpr char kTablePath[] = "/etc/tnv/ownerlink_vfs_cfg.yaml";

// What an error says of a table that lacks an owner.
inline constexpr char kTableExample[] =
    "an entry of /etc/tnv/ownerlink_vfs_cfg.yaml is, for example, "
    "apps: {OsType: 0, GroupOwner: 2, SecVfs: \"dp:/res/pm/appmgr\"}";

struct ConfiguredOwner {
    SsOperSysType os = DP;
    GroupOwner group = DATAMASTER;
    std::string resource;

    bool operator==(const ConfiguredOwner&) const = default;
};

struct TableMistake {
    std::string entry;  // its key; empty for the file as a whole
    std::string text;
};

struct OwnerTable {
    bool isLoaded = false;                // as the library sees it
    std::vector<ConfiguredOwner> owners;  // by group, one for each
    std::vector<TableMistake> mistakes;   // in the file's order

    const ConfiguredOwner* Find(GroupOwner group) const;
    std::set<std::string> Resources() const;  // those that a fan-out reaches, in its order
    // The owner's text, or all of them where several share the resource.
    std::string OwnersOf(const std::string& resource) const;
};

OwnerTable ReadOwnerTable(const std::string& path = kTablePath);

}  // namespace ctl

#endif
