"""Finds the code blocks of a page: those of Markdown, the examples of a manual page, or a file of YAML
as a whole."""
import pathlib
import re
from dataclasses import dataclass

FENCE = re.compile(r"^```(\S*)\s*$")
DIRECTIVE = re.compile(r"^<!-- check: (.*?) -->$")
LIST_ITEM = re.compile(r"^\s*([-*]|\d+\.)\s")


@dataclass
class Block:
    """`language` is empty for a block that names none, which an indented one never does."""

    page: str
    line: int
    language: str
    text: str
    directive: str = ""

    @property
    def place(self):
        return f"{self.page}:{self.line}"


def of_page(root, page):
    if page.endswith(".yaml"):
        return [Block(page, 1, "yaml", (root / page).read_text())]
    lines = (root / page).read_text().splitlines()
    if re.search(r"\.[1-8]$", page):
        return list(_manual_blocks(page, lines))
    return list(_markdown_blocks(page, lines))


def _directive_above(lines, number):
    """The comment on the line above the block, blank lines aside."""
    above = number - 1
    while above >= 0 and not lines[above].strip():
        above -= 1
    match = DIRECTIVE.match(lines[above]) if above >= 0 else None
    return match.group(1) if match else ""


def _markdown_blocks(page, lines):
    number = 0
    in_list = False
    while number < len(lines):
        line = lines[number]
        start = number
        fence = FENCE.match(line)
        if fence:
            number = lines.index("```", number + 1)
            text = lines[start + 1:number]
            yield Block(page, start + 1, fence.group(1), "\n".join(text) + "\n",
                        _directive_above(lines, start))
        elif line.startswith("    ") and not in_list:  # also where it only looks like a block
            while number < len(lines) and (lines[number].startswith("    ")
                                           or not lines[number].strip()):
                number += 1
            number -= 1
            text = "\n".join(lines[start:number + 1]).rstrip() + "\n"
            yield Block(page, start + 1, "", text, _directive_above(lines, start))
        elif line.strip():
            in_list = bool(LIST_ITEM.match(line)) or in_list and line.startswith(" ")
        number += 1


def _manual_blocks(page, lines):
    """What stands between .EX and .EE: YAML in section 5 and of owner tables, else commands."""
    for number, line in enumerate(lines):
        if line == ".EX":
            end = lines.index(".EE", number)
            text = "\n".join(lines[number + 1:end]) + "\n"
            directive = _manual_directive(lines[number - 1])
            language = "yaml" if page.endswith(".5") or "SecVfs:" in text else "sh"
            yield Block(page, number + 1, language, _plain(text), directive)
        elif line == ".nf":
            yield Block(page, number + 1, "", "\n".join(lines[number + 1:]) + "\n")


def _manual_directive(line):
    match = re.match(r'^\.\\" check: (.*)$', line)
    return match.group(1) if match else ""


def _plain(text):
    for escape, character in (("\\-", "-"), ("\\(aq", "'"), ("\\(dq", '"'), ("\\(ti", "~"),
                              ("\\&", ""), ("\\e", "\\")):
        text = text.replace(escape, character)
    return text


def pages_of(root):
    pages = [root / "README.md", root / "SECURITY.md", root / "CHANGELOG.md"]
    pages += sorted((root / "docs").rglob("*.md")) + sorted((root / "docs" / "man").iterdir())
    return [str(page.relative_to(root)) for page in pages if page.exists()]


def root_of_this():
    return pathlib.Path(__file__).resolve().parents[2]
