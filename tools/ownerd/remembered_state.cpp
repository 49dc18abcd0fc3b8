#include "tools/ownerd/remembered_state.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tools/ownerd/unique_fd.h"

namespace ownerd {
namespace {

using Json = nlohmann::json;

constexpr int kVersion = 1;

// Names and arguments are bytes; those that are no UTF-8 are kept all the same.
Json ToBytes(const std::string& text)
{
    std::vector<int> bytes;
    for (const char byte : text) {
        bytes.push_back(static_cast<unsigned char>(byte));
    }
    return bytes;
}

std::string FromBytes(const Json& json)
{
    std::string text;
    for (const int byte : json.get<std::vector<int>>()) {
        text += static_cast<char>(byte);
    }
    return text;
}

bool IsUtf8(const std::string& text)
{
    try {
        return !Json(text).dump().empty();
    } catch (const Json::exception&) {
        return false;
    }
}

Json FromText(const std::string& text)
{
    return IsUtf8(text) ? Json(text) : ToBytes(text);
}

std::string ToText(const Json& json)
{
    return json.is_array() ? FromBytes(json) : json.get<std::string>();
}

Json FromTexts(const std::vector<std::string>& texts)
{
    Json list = Json::array();
    for (const std::string& text : texts) {
        list.push_back(FromText(text));
    }
    return list;
}

std::vector<std::string> ToTexts(const Json& json)
{
    std::vector<std::string> texts;
    for (const Json& item : json) {
        texts.push_back(ToText(item));
    }
    return texts;
}

Json FromMemory(const std::string& name, const Memory& memory)
{
    Json parameters = Json::array();
    for (const auto& [index, values] : memory.parameters) {
        parameters.push_back({{"index", index}, {"values", FromTexts(values)}});
    }
    return {{"name", FromText(name)},
            {"wanted", memory.isWanted},
            {"ended", memory.hasEnded},
            {"failed", memory.hasFailed},
            {"prepared", memory.isPrepared},
            {"stopped-by", static_cast<int>(memory.stopReason)},
            {"arguments", FromTexts(memory.arguments)},
            {"parameters", parameters},
            {"pid", memory.pid},
            {"start-time", memory.startTime}};
}

Memory ToMemory(const Json& json)
{
    Memory memory;
    memory.isWanted = json.at("wanted");
    memory.hasEnded = json.at("ended");
    memory.hasFailed = json.at("failed");
    memory.isPrepared = json.at("prepared");
    memory.stopReason = static_cast<StopReason>(json.at("stopped-by").get<int>());
    memory.arguments = ToTexts(json.at("arguments"));
    for (const Json& parameter : json.at("parameters")) {
        memory.parameters[parameter.at("index")] = ToTexts(parameter.at("values"));
    }
    memory.pid = json.at("pid");
    memory.startTime = json.at("start-time");
    return memory;
}

}  // namespace

std::string BootId()
{
    std::ifstream file("/proc/sys/kernel/random/boot_id");
    std::string id;
    std::getline(file, id);
    return id;
}

std::string Write(const RememberedState& state, const std::string& bootId)
{
    Json applications = Json::array();
    for (const auto& [name, memory] : state.applications) {
        applications.push_back(FromMemory(name, memory));
    }
    const Json whole = {{"version", kVersion},
                        {"boot", bootId},
                        {"system-state", state.systemState},
                        {"applications", applications}};
    return whole.dump() + '\n';
}

RememberedState Read(const std::string& text, const std::string& bootId)
{
    RememberedState state;
    try {
        const Json whole = Json::parse(text);
        if (whole.at("version") != kVersion || whole.at("boot") != bootId) {
            return {};
        }
        state.systemState = whole.at("system-state");
        for (const Json& application : whole.at("applications")) {
            state.applications[ToText(application.at("name"))] = ToMemory(application);
        }
    } catch (const Json::exception&) {
        return {};
    }
    return state;
}

bool Save(const std::string& path, const RememberedState& state)
{
    const std::string text = Write(state, BootId());
    const std::string next = path + ".next";
    unlink(next.c_str());  // whatever it is, or is another name of
    const UniqueFd file(open(next.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    return file &&
           write(file.Get(), text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
           rename(next.c_str(), path.c_str()) == 0;
}

RememberedState Load(const std::string& path)
{
    const std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return Read(text.str(), BootId());
}

}  // namespace ownerd
