// A line of the shell, cut into words.
#ifndef OWNERLINK_TOOLS_CTL_SHELL_WORDS_H
#define OWNERLINK_TOOLS_CTL_SHELL_WORDS_H

#include <string>
#include <vector>

namespace ctl {

struct ShellLine {
    std::vector<std::string> words;
    bool isBackground = false;  // ends in an unquoted "&"
    std::string mistake;        // empty: there is none
};

// Words are quoted as in sh: '...' as it stands, "..." and plain text with a backslash before what
// is to stand for itself. A word that starts with "#" begins a comment.
ShellLine SplitLine(const std::string& text);

}  // namespace ctl

#endif
