#include "bench/figures_io.h"

#include <sstream>
#include <stdexcept>

namespace bench {
namespace {

void Check(const std::istringstream& stream, const std::string& line)
{
    if (stream.fail()) {
        throw std::runtime_error("not a figure: " + line);
    }
}

}  // namespace

std::string LineOf(const Figure& figure)
{
    std::ostringstream stream;
    stream << figure.name << '\t' << figure.floor << '\t' << figure.aim << ' ' << figure.ratio
           << ' ' << figure.median << ' ' << figure.percentile99 << ' ' << figure.samples << ' '
           << figure.applications << ' ' << figure.records;
    return stream.str();
}

std::string LineOf(const Work& work)
{
    std::ostringstream stream;
    stream << work.name << '\t' << work.nanoseconds << ' ' << work.slowest << ' ' << work.bytes
           << ' ' << work.items << ' ' << work.allocations;
    return stream.str();
}

Figure FigureFrom(const std::string& line)
{
    std::istringstream stream(line);
    Figure figure;
    std::getline(stream, figure.name, '\t');
    std::getline(stream, figure.floor, '\t');
    stream >> figure.aim >> figure.ratio >> figure.median >> figure.percentile99 >>
        figure.samples >> figure.applications >> figure.records;
    Check(stream, line);
    return figure;
}

Work WorkFrom(const std::string& line)
{
    std::istringstream stream(line);
    Work work;
    std::getline(stream, work.name, '\t');
    stream >> work.nanoseconds >> work.slowest >> work.bytes >> work.items >> work.allocations;
    Check(stream, line);
    return work;
}

}  // namespace bench
