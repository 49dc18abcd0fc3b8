// Columns for people.
#ifndef OWNERLINK_TOOLS_CTL_TABLE_H
#define OWNERLINK_TOOLS_CTL_TABLE_H

#include <string>
#include <vector>

namespace ctl {

enum class Tone { kPlain, kGood, kBad, kFaint };

struct Cell {
    std::string text;
    Tone tone = Tone::kPlain;
};

using Row = std::vector<Cell>;

std::string Toned(const Cell& cell, bool isColoured);

// A column in which no row has a text is left out. Lines have no blanks at their ends.
std::string FormatTable(const std::vector<std::string>& heads, const std::vector<Row>& rows,
                        bool isColoured);

}  // namespace ctl

#endif
