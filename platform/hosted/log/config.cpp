#include "platform/hosted/log/config.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <optional>
#include <utility>

namespace hosted::log {
namespace {

constexpr uint64_t kSmallestFile = 1024;
constexpr uint64_t kLargestFile = uint64_t{1} << 40;
constexpr uint64_t kMostOldFiles = 1000;
constexpr size_t kLongestDltName = 4;

std::string_view Trim(std::string_view text)
{
    constexpr std::string_view kBlanks = " \t\r\n";
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// The trimmed pieces that are not empty.
std::vector<std::string_view> Split(std::string_view text, char separator)
{
    std::vector<std::string_view> pieces;
    while (!text.empty()) {
        const size_t end = std::min(text.find(separator), text.size());
        if (const auto piece = Trim(text.substr(0, end)); !piece.empty()) {
            pieces.push_back(piece);
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return pieces;
}

std::optional<uint64_t> ParseSize(std::string_view text)
{
    constexpr std::string_view kUnits = "KMG";
    unsigned shift = 0;
    if (!text.empty()) {
        const auto upper = static_cast<char>(text.back() & ~0x20);
        if (const size_t unit = kUnits.find(upper); unit != std::string_view::npos) {
            shift = static_cast<unsigned>(10 * (unit + 1));
            text.remove_suffix(1);
        }
    }
    const auto number = ParseNumber(text, kLargestFile >> shift);
    if (!number || (*number << shift) < kSmallestFile) {
        return std::nullopt;
    }
    return *number << shift;
}

bool IsDltName(std::string_view text)
{
    return !text.empty() && text.size() <= kLongestDltName &&
           std::all_of(text.begin(), text.end(),
                       [](unsigned char character) { return std::isalnum(character) != 0; });
}

std::vector<OutletOptions>::iterator FindSink(std::vector<OutletOptions>& outlets,
                                              const SinkOptions& sink)
{
    return std::find_if(outlets.begin(), outlets.end(), [&](const OutletOptions& outlet) {
        return outlet.sink.kind == sink.kind && outlet.sink.path == sink.path;
    });
}

void Merge(LevelTable& levels, const LevelTable& further)
{
    std::transform(levels.begin(), levels.end(), further.begin(), levels.begin(),
                   [](LevelSet left, LevelSet right) { return left | right; });
}

struct SinkName {
    std::string_view text;
    SinkKind kind;
};

constexpr SinkName kSinkNames[] = {
    {"stderr", SinkKind::kStandardError}, {"syslog", SinkKind::kSyslog}, {"file", SinkKind::kFile},
    {"journal", SinkKind::kJournal},      {"dlt", SinkKind::kDlt},
};

// Null, or why a sink cannot be told `path` behind a colon.
const char* CheckPath(SinkKind kind, std::string_view path)
{
    switch (kind) {
        case SinkKind::kFile:
            return path.empty() ? "names no file" : nullptr;
        case SinkKind::kJournal:
            return path.empty() ? "names no socket" : nullptr;
        case SinkKind::kDlt:
            return IsDltName(path) ? nullptr
                                   : "no such application (one to four letters and digits)";
        default:
            return "is neither a level nor a sink";
    }
}

// Reads group by group; each piece changes the group in hand or leaves a complaint.
class Parser {
public:
    Config Parse(std::string_view text)
    {
        for (const std::string_view group : Split(text, ';')) {
            ParseGroup(group);
        }
        return std::move(config_);
    }

private:
    void ParseGroup(std::string_view group)
    {
        everyModule_ = LevelsFrom(kWarning);
        modules_.clear();
        sinks_.clear();
        for (const std::string_view piece : Split(group, ',')) {
            if (const char* reason = TakePiece(piece)) {
                config_.complaints.push_back("\"" + std::string(piece) + "\": " + reason);
            }
        }
        FinishGroup();
    }

    // Null, or why the piece is left out.
    const char* TakePiece(std::string_view piece)
    {
        if (const SinkName* name = SinkBeforeColon(piece)) {
            return TakeSink(name->kind, Trim(piece.substr(name->text.size() + 1)));
        }
        const size_t equals = piece.find('=');
        if (equals == std::string_view::npos) {
            return TakeWord(piece);
        }
        return TakePair(Trim(piece.substr(0, equals)), Trim(piece.substr(equals + 1)));
    }

    const char* TakeWord(std::string_view word)
    {
        const auto* name = std::find_if(
            std::begin(kSinkNames), std::end(kSinkNames),
            [&](const SinkName& known) { return EqualsIgnoringCase(known.text, word); });
        if (name != std::end(kSinkNames) && name->kind != SinkKind::kFile) {
            UseSink({name->kind, {}});
        } else if (const auto levels = ParseLevels(word)) {
            everyModule_ = *levels;
        } else {
            return "is neither a level nor a sink";
        }
        return nullptr;
    }

    // The sink whose name stands before a colon, or null.
    static const SinkName* SinkBeforeColon(std::string_view piece)
    {
        const auto* name =
            std::find_if(std::begin(kSinkNames), std::end(kSinkNames), [&](const SinkName& known) {
                return piece.size() > known.text.size() && piece[known.text.size()] == ':' &&
                       EqualsIgnoringCase(known.text, piece.substr(0, known.text.size()));
            });
        return name == std::end(kSinkNames) ? nullptr : name;
    }

    const char* TakePair(std::string_view key, std::string_view value)
    {
        if (EqualsIgnoringCase(key, "size") || EqualsIgnoringCase(key, "count")) {
            return TakeFileOption(EqualsIgnoringCase(key, "size"), value);
        }
        const auto module = ParseModule(key);
        if (!module) {
            return "no such module (client, server, platform, or a number up to 255)";
        }
        const auto levels = ParseLevels(value);
        if (!levels) {
            return "no such level (debug, info, notice, warning, error, off)";
        }
        modules_[*module] = *levels;
        return nullptr;
    }

    const char* TakeSink(SinkKind kind, std::string_view path)
    {
        const char* const reason = CheckPath(kind, path);
        if (reason == nullptr) {
            UseSink({kind, std::string(path)});
        }
        return reason;
    }

    const char* TakeFileOption(bool isSize, std::string_view value)
    {
        if (sinks_.empty() || config_.outlets[sinks_.back()].sink.kind != SinkKind::kFile) {
            return "stands behind no file";
        }
        SinkOptions& file = config_.outlets[sinks_.back()].sink;
        const auto number = isSize ? ParseSize(value) : ParseNumber(value, kMostOldFiles);
        if (!number || *number == 0) {
            return isSize ? "no such size (1K to 1024G)" : "no such count (1 to 1000)";
        }
        isSize ? file.size = *number : file.count = static_cast<uint32_t>(*number);
        return nullptr;
    }

    // A sink that an earlier group named takes what either group lets through.
    void UseSink(SinkOptions sink)
    {
        auto& outlets = config_.outlets;
        const auto known = FindSink(outlets, sink);
        sinks_.push_back(static_cast<size_t>(known - outlets.begin()));
        if (known == outlets.end()) {
            outlets.push_back({std::move(sink), {}});
        }
    }

    void FinishGroup()
    {
        if (sinks_.empty()) {
            UseSink({SinkKind::kStandardError, {}});
        }
        LevelTable levels;
        levels.fill(everyModule_);
        for (const auto& [module, set] : modules_) {
            levels[ModuleSlot(module)] = set;
        }
        for (const size_t sink : sinks_) {
            Merge(config_.outlets[sink].levels, levels);
        }
    }

    Config config_;
    LevelSet everyModule_ = 0;
    std::map<uint32_t, LevelSet> modules_;
    // The outlets that the group in hand names.
    std::vector<size_t> sinks_;
};

// Standard error belongs to the program that loads the library, so unasked it stays silent there.
Config QuietConfig()
{
    OutletOptions outlet{{SinkKind::kSyslog, {}}, {}};
    outlet.levels.fill(LevelsFrom(kWarning));
    return {{std::move(outlet)}, {}, true};
}

}  // namespace

Config ParseConfig(const char* text)
{
    if (text == nullptr || Trim(text).empty()) {
        return QuietConfig();
    }
    return Parser().Parse(text);
}

std::string SinkText(const SinkOptions& sink)
{
    const auto* const name =
        std::find_if(std::begin(kSinkNames), std::end(kSinkNames),
                     [&](const SinkName& known) { return known.kind == sink.kind; });
    return std::string(name->text) + (sink.path.empty() ? "" : ":" + sink.path);
}

void AddOutlet(std::vector<OutletOptions>& outlets, const OutletOptions& outlet)
{
    const auto known = FindSink(outlets, outlet.sink);
    if (known == outlets.end()) {
        outlets.push_back(outlet);
    } else {
        Merge(known->levels, outlet.levels);
    }
}

}  // namespace hosted::log
