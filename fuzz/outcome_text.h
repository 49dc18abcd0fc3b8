// What a reader has left, as a text that two readers' outcomes are compared by. Every string stands
// behind its length, so that no two outcomes look alike.
#ifndef OWNERLINK_FUZZ_OUTCOME_TEXT_H
#define OWNERLINK_FUZZ_OUTCOME_TEXT_H

#include <ownerlink/records.h>

#include <map>
#include <string>
#include <type_traits>
#include <vector>

namespace fuzz {

class OutcomeText {
public:
    template <typename Number>
    requires(std::is_arithmetic_v<Number> || std::is_enum_v<Number>) OutcomeText& operator<<(
        Number number)
    {
        text_ += std::to_string(static_cast<long>(number)) + ' ';
        return *this;
    }

    OutcomeText& operator<<(const std::string& string)
    {
        text_ += std::to_string(string.size()) + ':' + string + ' ';
        return *this;
    }

    template <typename Value>
    OutcomeText& operator<<(const std::vector<Value>& values)
    {
        text_ += std::to_string(values.size()) + "[ ";
        for (const Value& value : values) {
            *this << value;
        }
        text_ += "] ";
        return *this;
    }

    template <typename Key, typename Value>
    OutcomeText& operator<<(const std::map<Key, Value>& values)
    {
        text_ += std::to_string(values.size()) + "{ ";
        for (const auto& [key, value] : values) {
            *this << key << value;
        }
        text_ += "} ";
        return *this;
    }

    OutcomeText& operator<<(const AppInfo& app)
    {
        return *this << app.os << app.groupOwner << app.appName << app.optionType << app.args
                     << app.dynamicPara;
    }

    OutcomeText& operator<<(const AppInfoForServer& app)
    {
        return *this << app.appName << app.args << app.dynamicPara;
    }

    OutcomeText& operator<<(const AppStatus& status)
    {
        return *this << status.appName << status.pid << status.status;
    }

    const std::string& Text() const { return text_; }

private:
    std::string text_;
};

// Empty if both are the same.
inline std::string DifferenceOf(const OutcomeText& got, const OutcomeText& expected)
{
    return got.Text() == expected.Text()
               ? ""
               : "got:      " + got.Text() + "\nexpected: " + expected.Text() + "\n";
}

}  // namespace fuzz

#endif
