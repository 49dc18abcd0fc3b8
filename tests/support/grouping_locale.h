// A host process whose global locale writes 1234567 as "1.234.567" and reads it so.
#ifndef OWNERLINK_TESTS_SUPPORT_GROUPING_LOCALE_H
#define OWNERLINK_TESTS_SUPPORT_GROUPING_LOCALE_H

#include <locale>
#include <string>

class GroupingLocale {
public:
    GroupingLocale() : former_(std::locale::global(Grouping())) {}
    ~GroupingLocale() { std::locale::global(former_); }
    GroupingLocale(const GroupingLocale&) = delete;
    GroupingLocale& operator=(const GroupingLocale&) = delete;

private:
    class Punctuation : public std::numpunct<char> {
    protected:
        char do_thousands_sep() const override { return '.'; }
        char do_decimal_point() const override { return ','; }
        std::string do_grouping() const override { return "\3"; }
    };

    static std::locale Grouping() { return {std::locale::classic(), new Punctuation}; }

    std::locale former_;
};

#endif
