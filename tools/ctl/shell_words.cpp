#include "tools/ctl/shell_words.h"

namespace ctl {
namespace {

class Splitter {
public:
    explicit Splitter(const std::string& text) : text_(text) {}
    ShellLine Split();

private:
    bool Take();  // one character and what belongs to it; false: the line is at its end
    void TakeQuoted(char quote);
    void Escape();
    void EndWord();
    void Append(char character)
    {
        word_ += character;
        isInWord_ = true;
    }

    const std::string& text_;
    size_t at_ = 0;
    std::string word_;
    bool isInWord_ = false;
    ShellLine line_;
};

void Splitter::EndWord()
{
    if (isInWord_) {
        line_.words.push_back(word_);
    }
    word_.clear();
    isInWord_ = false;
}

void Splitter::Escape()
{
    if (++at_ < text_.size()) {
        Append(text_[at_]);
    } else {
        line_.mistake = "nothing follows the backslash at the end";
    }
}

void Splitter::TakeQuoted(char quote)
{
    isInWord_ = true;
    while (++at_ < text_.size() && text_[at_] != quote) {
        if (text_[at_] == '\\' && quote == '"') {
            Escape();
        } else {
            Append(text_[at_]);
        }
    }
    if (at_ >= text_.size()) {
        line_.mistake = std::string("a quote ") + quote + " is not closed";
    }
}

bool Splitter::Take()
{
    const char character = text_[at_];
    if (character == '#' && !isInWord_) {
        return false;
    }
    if (line_.isBackground && character != ' ' && character != '\t') {
        line_.mistake = "\"&\" stands in the middle; it ends a line";
        return false;
    }
    if (character == ' ' || character == '\t' || character == '\r') {
        EndWord();
    } else if (character == '&') {
        EndWord();
        line_.isBackground = true;
    } else if (character == '\'' || character == '"') {
        TakeQuoted(character);
    } else if (character == '\\') {
        Escape();
    } else {
        Append(character);
    }
    return true;
}

ShellLine Splitter::Split()
{
    for (; at_ < text_.size() && Take(); ++at_) {}
    EndWord();
    if (line_.isBackground && line_.words.empty() && line_.mistake.empty()) {
        line_.mistake = "nothing stands before \"&\"";
    }
    return std::move(line_);
}

}  // namespace

ShellLine SplitLine(const std::string& text)
{
    return Splitter(text).Split();
}

}  // namespace ctl
