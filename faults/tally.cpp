#include "faults/tally.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

std::map<std::string, int64_t> Parse(const std::string& results)
{
    std::map<std::string, int64_t> numbers;
    std::istringstream words(results);
    for (std::string word; words >> word;) {
        const size_t end = word.find('=');
        if (end == std::string::npos) {
            throw std::runtime_error("no results: \"" + results + '"');
        }
        numbers[word.substr(0, end)] = std::stoll(word.substr(end + 1));
    }
    return numbers;
}

void Tally::Take(const std::string& results, const Foreseen& foreseen)
{
    std::map<std::string, int64_t> numbers = Parse(results);
    const int64_t slowestMs = numbers["slowest"];
    numbers.erase("slowest");
    int64_t sum = 0;
    for (const auto& [outcome, count] : numbers) {
        if (foreseen.outcomes.count(outcome) == 0) {
            throw std::runtime_error("unforeseen: " + outcome + " in \"" + results + '"');
        }
        counts_[outcome] += count;
        sum += count;
    }
    if (sum != foreseen.requests) {
        throw std::runtime_error("of " + std::to_string(foreseen.requests) +
                                 " requests there are results for " + std::to_string(sum) + ": \"" +
                                 results + '"');
    }
    if (slowestMs > foreseen.limitMs) {
        throw std::runtime_error("a request has taken " + std::to_string(slowestMs) +
                                 " ms, more than " + std::to_string(foreseen.limitMs));
    }
    slowestMs_ = std::max(slowestMs_, slowestMs);
}

std::string Tally::Text() const
{
    std::string text;
    for (const auto& [outcome, count] : counts_) {
        text += (text.empty() ? "" : ", ") + outcome + ' ' + std::to_string(count);
    }
    return text.empty() ? "no requests" : text;
}
