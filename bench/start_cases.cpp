#include "bench/start_cases.h"

#include <ownerlink/client.h>
#include <yaml.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <stdexcept>

#include "bench/bare_connection.h"
#include "bench/cases.h"
#include "bench/processes.h"
#include "bench/world.h"

namespace bench {
namespace {

constexpr const char* kBareStart = "bare: YAML file, connect, first exchange";
constexpr const char* kLibraryStart = "start: first GetInstance to first answer";
constexpr double kAim = 1.5;
constexpr const char* kConfig = "/etc/tnv/ownerlink_vfs_cfg.yaml";

using Clock = std::chrono::steady_clock;

void Print(Clock::time_point start)
{
    std::cout << std::chrono::nanoseconds(Clock::now() - start).count() << std::endl;
}

void ReadYamlFile()
{
    yaml_parser_t parser;
    yaml_document_t document;
    FILE* const file = fopen(kConfig, "re");
    Require(file != nullptr && yaml_parser_initialize(&parser) == 1, "reading the configuration");
    yaml_parser_set_input_file(&parser, file);
    Require(yaml_parser_load(&parser, &document) == 1, "parsing the configuration");
    yaml_document_delete(&document);
    yaml_parser_delete(&parser);
    (void)fclose(file);
}

double TimeOfProcess(const std::vector<std::string>& arguments)
{
    RoleProcess process(arguments);
    std::string line;
    if (!process.ReadLine(line)) {
        throw std::runtime_error("no time from " + arguments.front());
    }
    process.AwaitSuccess();
    return std::stod(line);
}

Figure FigureOf(const char* name, const std::vector<double>& times)
{
    Figure figure;
    figure.name = name;
    figure.median = Median(times);
    figure.percentile99 = Percentile(times, 0.99);
    figure.samples = times.size();
    return figure;
}

}  // namespace

std::vector<Figure> MeasureStarts(int rounds)
{
    const World world;
    std::vector<double> bare;
    std::vector<double> library;
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        bare.push_back(TimeOfProcess({"start-bare", world.FreshPath()}));
        library.push_back(TimeOfProcess({"start-library"}));
        ratios.push_back(library.back() / bare.back());
    }
    Figure start = FigureOf(kLibraryStart, library);
    start.floor = kBareStart;
    start.ratio = Median(ratios);
    start.aim = kAim;
    return {FigureOf(kBareStart, bare), start};
}

void StartLibrary()
{
    const Clock::time_point start = Clock::now();
    Require(OwnerlinkClientInner::GetInstance().DumpGrp(DP, DATAMASTER), "the first exchange");
    Print(start);
}

void StartBare(const std::string& path)
{
    const Clock::time_point start = Clock::now();
    ReadYamlFile();
    BareConnection(path).Exchange();
    Print(start);
}

}  // namespace bench
