#include "bench/event_figures.h"

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <stdexcept>

#include "bench/table.h"

namespace bench {
namespace {

constexpr double kLatencyAim = 1.2;  // for one subscriber
constexpr double kZeroMqAim = 1;     // for one subscriber and for the most
constexpr double kIceoryxAim = 5;
constexpr size_t kFew = 1;
constexpr size_t kMany = 16;

const char* Verdict(bool isMet)
{
    return isMet ? "met" : "MISSED";
}

bool IsLibrary(const EventFigure& figure)
{
    return figure.system == "ownerlink";
}

const EventFigure* Find(const std::vector<EventFigure>& figures, const std::string& system,
                        size_t subscribers)
{
    const auto found = std::find_if(figures.begin(), figures.end(), [&](const EventFigure& each) {
        return each.system == system && each.subscribers == subscribers;
    });
    return found == figures.end() || found->isMissing ? nullptr : &*found;
}

std::string RatioText(double ratio)
{
    return ratio == 0 ? "-" : Text("%.2f", ratio);
}

std::string PacedCells(const EventFigure* figure)
{
    if (figure == nullptr) {
        return "- | - | -";
    }
    return Text("%.1f | %.1f | %s", figure->pacedMedian / 1e3, figure->paced99 / 1e3,
                RatioText(figure->pacedToBare).c_str());
}

std::string BurstCells(const EventFigure* figure)
{
    if (figure == nullptr) {
        return "- | - | - | - | - | -";
    }
    return Text("%.0f | %.2f | %.0f | %.0f | %s | %s", figure->rate / 1e3, 1e6 / figure->rate,
                figure->burstMedian / 1e3, figure->burst99 / 1e3,
                RatioText(figure->rateToZeroMq).c_str(), RatioText(figure->rateToIceoryx).c_str());
}

std::string PacedVerdict(const EventFigure& figure)
{
    return IsLibrary(figure) && figure.subscribers == kFew
               ? Text("%.1f: %s", kLatencyAim, Verdict(figure.pacedToBare <= kLatencyAim))
               : "-";
}

std::string BurstVerdict(const EventFigure& figure)
{
    const bool hasAim = figure.subscribers == kFew || figure.subscribers == kMany;
    if (!IsLibrary(figure) || !hasAim) {
        return "-";
    }
    std::string text = figure.rateToZeroMq == 0 ? ""
                                                : Text("%.0f: %s", kZeroMqAim,
                                                       Verdict(figure.rateToZeroMq >= kZeroMqAim));
    if (figure.rateToIceoryx != 0) {
        text += Text("%s%.0f: %s", text.empty() ? "" : ", ", kIceoryxAim,
                     Verdict(figure.rateToIceoryx >= kIceoryxAim));
    }
    return text.empty() ? "-" : text;
}

template <typename Cells>
void PrintRows(const EventResults& results, Cells cells, std::string (*verdict)(const EventFigure&))
{
    for (const auto* figures : {&results.pinned, &results.defaultLog}) {
        for (const EventFigure& figure : *figures) {
            const char* const note = figure.isMissing ? ": not installed" : "";
            std::printf("| %s%s | %zu | %s | %s | | %s |\n", figure.system.c_str(), note,
                        figure.subscribers, cells(figure.isMissing ? nullptr : &figure).c_str(),
                        figure.isMissing ? "-" : verdict(figure).c_str(),
                        cells(Find(results.free, figure.system, figure.subscribers)).c_str());
        }
    }
}

void PrintPaced(const EventResults& results)
{
    std::printf(
        "\n| events, 1,000 a second | subscribers | one core: one-way median µs | p99 | to bare | "
        "aim | | two cores: one-way median µs | p99 | to bare |\n"
        "|---|---|---|---|---|---|---|---|---|---|\n");
    PrintRows(results, PacedCells, PacedVerdict);
}

void PrintBursts(const EventResults& results)
{
    const char* const columns =
        "1,000 deliveries a second | µs a delivery | one-way median µs | p99 | to ZeroMQ | to "
        "iceoryx";
    std::printf(
        "\n| events, back to back | subscribers | one core: %s | aims | | two cores: %s |\n"
        "|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|\n",
        columns, columns);
    PrintRows(results, BurstCells, BurstVerdict);
}

// Microseconds that an event takes for each subscriber between the two numbers.
std::string FurtherCost(const std::vector<EventFigure>& figures, const std::string& system,
                        size_t few, size_t many)
{
    const EventFigure* const less = Find(figures, system, few);
    const EventFigure* const more = Find(figures, system, many);
    if (less == nullptr || more == nullptr) {
        return "-";
    }
    const auto eventTime = [](const EventFigure& figure) {
        return 1e6 * static_cast<double>(figure.subscribers) / figure.rate;
    };
    return Text("%.2f", (eventTime(*more) - eventTime(*less)) / static_cast<double>(many - few));
}

std::string FurtherCells(const std::vector<EventFigure>& figures, const std::string& system)
{
    const EventFigure* const alone = Find(figures, system, 1);
    return Text("%s | %s | %s", alone == nullptr ? "-" : Text("%.2f", 1e6 / alone->rate).c_str(),
                FurtherCost(figures, system, 1, 4).c_str(),
                FurtherCost(figures, system, 4, 16).c_str());
}

std::string IdleCell(const EventFigure* figure)
{
    return figure == nullptr ? "-" : Text("%.4f %%", 100 * figure->idlePart);
}

void PrintSubscribers(const EventResults& results)
{
    std::printf(
        "\n| a subscriber of events | one core: the first, µs an event | each up to 4 | each up "
        "to 16 | | two cores: the first | each up to 4 | each up to 16 | | idle, of a core |\n"
        "|---|---|---|---|---|---|---|---|---|---|\n");
    for (const EventFigure& figure : results.pinned) {
        if (figure.subscribers == 1) {
            std::printf("| %s | %s | | %s | | %s |\n", figure.system.c_str(),
                        FurtherCells(results.pinned, figure.system).c_str(),
                        FurtherCells(results.free, figure.system).c_str(),
                        IdleCell(Find(results.pinned, figure.system, 1)).c_str());
        }
    }
}

}  // namespace

std::string LineOf(const EventFigure& figure)
{
    std::ostringstream stream;
    stream << figure.system << '\t' << figure.subscribers << ' ' << figure.isMissing << ' '
           << figure.pacedMedian << ' ' << figure.paced99 << ' ' << figure.pacedToBare << ' '
           << figure.burstMedian << ' ' << figure.burst99 << ' ' << figure.rate << ' '
           << figure.rateToZeroMq << ' ' << figure.rateToIceoryx << ' ' << figure.idlePart;
    return stream.str();
}

EventFigure EventFigureFrom(const std::string& line)
{
    std::istringstream stream(line);
    EventFigure figure;
    std::getline(stream, figure.system, '\t');
    stream >> figure.subscribers >> figure.isMissing >> figure.pacedMedian >> figure.paced99 >>
        figure.pacedToBare >> figure.burstMedian >> figure.burst99 >> figure.rate >>
        figure.rateToZeroMq >> figure.rateToIceoryx >> figure.idlePart;
    if (stream.fail()) {
        throw std::runtime_error("not a figure: " + line);
    }
    return figure;
}

void PrintEvents(const EventResults& results)
{
    PrintPaced(results);
    PrintBursts(results);
    PrintSubscribers(results);
}

}  // namespace bench
