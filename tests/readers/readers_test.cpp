// Every reader of a payload against the plain one written from the grammar, over payloads that are
// mutations of those which the fuzzers start from. With OWNERLINK_TEST_LONG set, a million each.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "fuzz/reader_checks.h"
#include "tests/readers/mutations.h"

namespace fuzz {
namespace {

// A reader, the folder with its sound payloads, and how many mutations a short run reads.
struct Subject {
    ReaderCheck check;
    const char* corpus;
    size_t payloads;
};

std::ostream& operator<<(std::ostream& out, const Subject& subject)
{
    return out << subject.check.name;
}

std::vector<Subject> SubjectsOf(std::span<const ReaderCheck> checks, const char* corpus,
                                size_t payloads)
{
    std::vector<Subject> subjects;
    for (const ReaderCheck& check : checks) {
        subjects.push_back({check, corpus, payloads});
    }
    return subjects;
}

std::string ContentsOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

// Without the byte that chooses the reader.
std::vector<std::string> RecordsFor(const Subject& subject)
{
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(subject.corpus)) {
        paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());  // else the payloads were others on another machine
    std::vector<std::string> records;
    for (const auto& path : paths) {
        const std::string input = ContentsOf(path);
        if (!input.empty() && input.front() == subject.check.letter) {
            records.push_back(input.substr(1));
        }
    }
    return records;
}

size_t PayloadsFor(const Subject& subject)
{
    return std::getenv("OWNERLINK_TEST_LONG") != nullptr ? 1000000 : subject.payloads;
}

std::string Escaped(const std::string& text)
{
    return testing::PrintToString(text);
}

class Reader : public testing::TestWithParam<Subject> {};

TEST_P(Reader, ReadsWhatThePlainOneReads)
{
    const std::vector<std::string> records = RecordsFor(GetParam());
    ASSERT_FALSE(records.empty());
    for (const std::string& record : records) {
        ASSERT_EQ(GetParam().check.difference(record), "") << "record " << Escaped(record);
    }
    Mutations mutations(records, 20261120);
    for (size_t left = PayloadsFor(GetParam()); left > 0; --left) {
        const std::string record = mutations.Next();
        ASSERT_EQ(GetParam().check.difference(record), "") << "record " << Escaped(record);
    }
}

std::string NameOf(const testing::TestParamInfo<Subject>& info)
{
    return info.param.check.name;
}

INSTANTIATE_TEST_SUITE_P(Owners, Reader,
                         testing::ValuesIn(SubjectsOf(OwnersReaders(), CORPUS "/owners_readers",
                                                      20000)),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(Managers, Reader,
                         testing::ValuesIn(SubjectsOf(ManagersReaders(), CORPUS "/managers_readers",
                                                      20000)),
                         NameOf);
// Fewer: a count of theirs may stand for a hundred thousand fields that are not there.
INSTANTIATE_TEST_SUITE_P(ProcessManagers, Reader,
                         testing::ValuesIn(SubjectsOf(ProcessManagersReaders(),
                                                      CORPUS "/process_managers_readers", 2000)),
                         NameOf);

}  // namespace
}  // namespace fuzz
