#!/usr/bin/env python3
"""Each link of a page leads somewhere, and the README leads to each page of docs/.

check_links.py SOURCE
"""
import pathlib
import re
import sys

import blocks

LINK = re.compile(r"\[[^\]]*\]\(([^)\s]+)\)")


def anchors_of(path):
    """Headings as GitHub names them."""
    headings = re.findall(r"^#+ (.*)$", path.read_text(), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def broken_links(root, page):
    for link in LINK.findall((root / page).read_text()):
        if re.match(r"\w+:", link):
            continue
        path, _, anchor = link.partition("#")
        target = (root / page).parent / path if path else root / page
        if not target.exists():
            yield f"{page}: there is no {link}"
        elif anchor and anchor not in anchors_of(target):
            yield f"{page}: {target.name} has no heading #{anchor}"


def main():
    root = pathlib.Path(sys.argv[1])
    pages = blocks.pages_of(root)
    wrong = [text for page in pages if page.endswith(".md") for text in broken_links(root, page)]
    readme = LINK.findall((root / "README.md").read_text())
    wrong += [f"README.md does not lead to {page}" for page in pages
              if page not in readme and page != "README.md"]
    print("\n".join(wrong) or f"{len(pages)} pages, all within reach")
    return bool(wrong)


if __name__ == "__main__":
    sys.exit(main())
