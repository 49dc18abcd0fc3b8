// The fields of a text payload on a standard stream: what the plain readers read with.
#ifndef OWNERLINK_FUZZ_PLAIN_TEXT_H
#define OWNERLINK_FUZZ_PLAIN_TEXT_H

#include <locale>
#include <sstream>
#include <string>

namespace fuzz {

class PlainText {
public:
    explicit PlainText(const std::string& text) : stream_(text)
    {
        stream_.imbue(std::locale::classic());
    }

    // A number and one character behind it.
    template <typename Number>
    Number Decimal()
    {
        Number number = 0;
        char separator = 0;
        stream_ >> number;
        stream_ >> separator;
        return number;
    }

    // A number alone, which stays as it was where the text has nothing left.
    template <typename Number>
    void Extract(Number& number)
    {
        stream_ >> number;
    }

    std::string UpToHash()
    {
        std::string field;
        std::getline(stream_, field, '#');
        return field;
    }

    // False at the end of the text.
    bool NextUpToHash(std::string& field)
    {
        return static_cast<bool>(std::getline(stream_, field, '#'));
    }

    void SkipOne()
    {
        char separator = 0;
        stream_ >> separator;
    }

private:
    std::istringstream stream_;
};

}  // namespace fuzz

#endif
