#include "tools/ctl/table.h"

#include <algorithm>

#include "tools/ctl/output.h"

namespace ctl {
namespace {

constexpr size_t kGap = 2;

const char* ColourOf(Tone tone)
{
    switch (tone) {
        case Tone::kGood:
            return "\x1b[32m";
        case Tone::kBad:
            return "\x1b[31m";
        case Tone::kFaint:
            return "\x1b[2m";
        case Tone::kPlain:
            break;
    }
    return "";
}

// Characters, not bytes: all but the bytes that continue one in UTF-8.
size_t WidthOf(const std::string& text)
{
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char character) {
        return (static_cast<unsigned char>(character) & 0xC0U) != 0x80;
    }));
}

std::vector<size_t> WidthsOf(const std::vector<std::string>& heads, const std::vector<Row>& rows)
{
    std::vector<size_t> widths(heads.size(), 0);
    for (const Row& row : rows) {
        for (size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], WidthOf(row[column].text));
        }
    }
    for (size_t column = 0; column < heads.size(); ++column) {
        if (widths[column] != 0) {
            widths[column] = std::max(widths[column], heads[column].size());
        }
    }
    return widths;
}

std::string FormatRow(const Row& row, const std::vector<size_t>& widths, bool isColoured)
{
    std::string line;
    size_t blanks = 0;
    for (size_t column = 0; column < row.size(); ++column) {
        if (widths[column] == 0) {
            continue;
        }
        if (!row[column].text.empty()) {
            line += std::string(blanks, ' ') + Toned(row[column], isColoured);
            blanks = 0;
        }
        blanks += widths[column] - WidthOf(row[column].text) + kGap;
    }
    return line + '\n';
}

Row Cleaned(Row row)
{
    for (Cell& cell : row) {
        cell.text = Printable(cell.text);
    }
    return row;
}

}  // namespace

std::string Toned(const Cell& cell, bool isColoured)
{
    if (!isColoured || cell.tone == Tone::kPlain) {
        return cell.text;
    }
    return ColourOf(cell.tone) + cell.text + "\x1b[0m";
}

std::string FormatTable(const std::vector<std::string>& heads, const std::vector<Row>& rows,
                        bool isColoured)
{
    if (rows.empty()) {
        return "";
    }
    std::vector<Row> clean;
    std::transform(rows.begin(), rows.end(), std::back_inserter(clean), Cleaned);
    const std::vector<size_t> widths = WidthsOf(heads, clean);
    Row head;
    for (const std::string& text : heads) {
        head.push_back({text, Tone::kFaint});
    }
    std::string table = FormatRow(head, widths, isColoured);
    for (const Row& row : clean) {
        table += FormatRow(row, widths, isColoured);
    }
    return table;
}

}  // namespace ctl
