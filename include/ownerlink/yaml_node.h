/// \file
/// A read-only view of a YAML document in which every value has a default.
///
/// A node stands for one place in a loaded document. It holds the document, so that it stays valid
/// after the node it was taken from has gone. No getter fails or throws on bad data: it gives its
/// default, and a caller who must tell a missing value from a zero asks `GetSubKvs` or
/// `GetIsNullOfScalarType`. Messages go to syslog.
///
/// A node is used by one thread at a time; nodes of one document may be read by several.
#ifndef OWNERLINK_YAML_NODE_H
#define OWNERLINK_YAML_NODE_H

#include <ownerlink/export.h>
#include <yaml.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ProcMgr {

/// Owns one parsed document and frees it, if it was loaded, with itself.
class YamlDocument {
public:
    YamlDocument() = default;
    YamlDocument(const YamlDocument&) = delete;
    YamlDocument& operator=(const YamlDocument&) = delete;
    OWNERLINK_EXPORT ~YamlDocument();

    yaml_document_t document{};  ///< libyaml's own
    bool loaded = false;         ///< whether there is something to free
};

/// One node of a document, or none: a new object is empty, and every getter then gives its default.
/// Copies share the document.
class KvsTypeYaml {
public:
    /// Loads the file at `path`, which may be called again to load another. False, with a record in
    /// syslog, for a file that is missing, unreadable, malformed or empty.
    OWNERLINK_EXPORT bool InitYamlNode(const std::string& path);

    /// The key under which this node was found; empty for a root and for an item of a sequence.
    OWNERLINK_EXPORT std::string GetKey() const;

    /// The text of a scalar up to its first zero byte; empty for any other node.
    OWNERLINK_EXPORT std::string GetString() const;

    /// Says whether this is a scalar without text.
    OWNERLINK_EXPORT bool GetIsNullOfScalarType() const;

    /// Finds the first value of `key` in a mapping. False leaves `out` as it was.
    OWNERLINK_EXPORT bool GetSubKvs(const std::string& key, KvsTypeYaml& out) const;

    /// The decimal number that a scalar's text starts with, white space aside: "12abc" is 12. 0
    /// without one, the nearest limit beyond the type's range, and 0 for any other node.
    OWNERLINK_EXPORT int GetInt() const;

    /// The same, unsigned and of 64 bits.
    OWNERLINK_EXPORT uint64_t GetUint64() const;

    /// Says whether a scalar's text contains "true" in any case. It searches and doesn't compare:
    /// "untrue" is true, and "yes" and "1" are not.
    OWNERLINK_EXPORT bool GetBool() const;

    /// The items of a sequence as numbers, read as `GetInt` reads them; an item that is no scalar
    /// is 0. Empty for any other node.
    OWNERLINK_EXPORT std::vector<uint32_t> GetSequenceUint32() const;

    /// The items of a sequence as texts; an item that is no scalar is empty. Empty for any other
    /// node.
    OWNERLINK_EXPORT std::vector<std::string> GetSequenceString() const;

    /// The items of a sequence as nodes without a key. Empty for any other node.
    OWNERLINK_EXPORT std::vector<KvsTypeYaml> GetSequenceYamlNode() const;

    /// Appends the values of a mapping, each with its key, to `out`. False for any other node; what
    /// was appended before a failure stays.
    OWNERLINK_EXPORT bool GetArray(std::vector<KvsTypeYaml>& out) const;

private:
    KvsTypeYaml Child(const yaml_node_t& node, const std::string& key) const;
    const yaml_node_t* NodeAt(int index) const;
    bool Items(std::vector<const yaml_node_t*>& items) const;

    std::shared_ptr<YamlDocument> document_;
    yaml_node_t node_{};
    std::string key_;
};

}  // namespace ProcMgr

#endif
