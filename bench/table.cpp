#include "bench/table.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace bench {
namespace {

constexpr double kLogAim = 2;  // nanoseconds

std::string Times(const Figure& figure)
{
    if (figure.samples == 0) {
        return "| not installed | - | - ";
    }
    const std::string ratio = figure.ratio == 0 ? "-" : Text("%.2f", figure.ratio);
    return Text("| %.1f | %.1f | %s ", figure.median / 1e3, figure.percentile99 / 1e3,
                ratio.c_str());
}

std::string Verdict(const Figure& figure)
{
    if (figure.aim == 0 || figure.ratio == 0) {
        return "- | ";
    }
    return Text("%.2f | %s", figure.aim, figure.ratio <= figure.aim ? "met" : "MISSED");
}

std::string Extent(const Figure& figure)
{
    std::string text;
    if (figure.records != 0) {
        text = Text("%zu records", figure.records);
    }
    if (figure.applications != 0) {
        text += text.empty() ? "" : ", ";
        text += Text("%.2f µs an application",
                     figure.median / 1e3 / static_cast<double>(figure.applications));
    }
    return text;
}

const Figure* Find(const std::vector<Figure>& figures, const Figure& like)
{
    const auto found = std::find_if(figures.begin(), figures.end(), [&](const Figure& figure) {
        return figure.name == like.name && figure.floor == like.floor;
    });
    return found == figures.end() ? nullptr : &*found;
}

void PrintCalls(const Results& results)
{
    std::printf(
        "| call | floor | one core: median µs | p99 | ratio | aim | | "
        "two cores: median µs | p99 | ratio | extent, on one core |\n");
    std::printf("|---|---|---|---|---|---|---|---|---|---|---|\n");
    for (const Figure& pinned : results.pinned) {
        const Figure* const free = Find(results.free, pinned);
        std::printf("| %s | %s %s| %s %s| %s |\n", pinned.name.c_str(), pinned.floor.c_str(),
                    Times(pinned).c_str(), Verdict(pinned).c_str(),
                    free != nullptr ? Times(*free).c_str() : "| - | - | - ",
                    Extent(pinned).c_str());
    }
    for (const Figure& figure : results.defaultLog) {
        if (!figure.floor.empty()) {
            std::printf("| default log: %s | %s %s| - | | - | - | - | %s |\n", figure.name.c_str(),
                        figure.floor.c_str(), Times(figure).c_str(), Extent(figure).c_str());
        }
    }
}

std::string CodecRate(const Work& work)
{
    const std::string rate =
        work.bytes > 0 ? Text("%.0f", work.bytes / work.nanoseconds * 1e3) : "-";
    const std::string each = work.items > 0 ? Text("%.0f", work.nanoseconds / work.items) : "-";
    const std::string allocations = work.items > 0
                                        ? Text("%.1f an item", work.allocations / work.items)
                                        : Text("%.0f a call", work.allocations);
    return Text("%s | %s | %s", rate.c_str(), each.c_str(), allocations.c_str());
}

void PrintCodecs(const std::vector<Work>& codecs)
{
    std::printf(
        "\n| on one thread | ns a call, median | slowest of 25 | MB/s | ns an item | "
        "allocations |\n|---|---|---|---|---|---|\n");
    for (const Work& work : codecs) {
        const char* const format = work.nanoseconds < 1000 ? "%.1f" : "%.0f";
        std::printf("| %s | %s | %s | %s |\n", work.name.c_str(),
                    Text(format, work.nanoseconds).c_str(), Text(format, work.slowest).c_str(),
                    CodecRate(work).c_str());
    }
}

double TimeOf(const std::vector<Work>& works, const std::string& name)
{
    const auto found = std::find_if(works.begin(), works.end(),
                                    [&](const Work& work) { return work.name == name; });
    return found == works.end() ? 0 : found->nanoseconds;
}

void PrintLogVerdict(const std::vector<Work>& works)
{
    const double time = TimeOf(works, kRecordThatIsOff) - TimeOf(works, kEmptyLoop);
    std::printf("\nA record that is off costs %.1f ns above the empty loop; aim: under %.0f: %s\n",
                time, kLogAim, time < kLogAim ? "met" : "MISSED");
}

}  // namespace

// NOLINTBEGIN(cert-dcl50-cpp,clang-analyzer-valist.Uninitialized): the compiler checks the formats
std::string Text(const char* format, ...)
{
    char buffer[128];
    va_list arguments;
    va_start(arguments, format);
    (void)std::vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    return buffer;
}
// NOLINTEND(cert-dcl50-cpp,clang-analyzer-valist.Uninitialized)

void PrintTable(const Results& results)
{
    PrintCalls(results);
    PrintCodecs(results.codecs);
    PrintLogVerdict(results.codecs);
    PrintEvents(results.events);
}

}  // namespace bench
