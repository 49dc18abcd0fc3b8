#!/usr/bin/env python3
"""Checks each code block of a page by what it is: programs are compiled, commands run, tables and
configurations read by the real readers. A block that nothing checks is an error.

    check_blocks.py SETTINGS PAGE

SETTINGS is a JSON file that the build writes. By the language of its fence a block is

    cpp     a whole program, built against the library with the project's warnings
    c       the same
    sh      commands, run in the order of the page in one shell (see session.py)
    yaml    an owner table or an owner's configuration, told apart by its keys
    json    any document
    cmake   commands of a project that uses the library
    (none)  text; its first line stands in texts.list, with what holds it true

A comment above the block says what is special about it:

    <!-- check: frame NAME -->       C++ that stands in the place of BLOCK in frames/NAME
    <!-- check: with the fake -->    C++ tests; all of a page together are built and pass
    <!-- check: file NAME -->        checked as usual, and a file of that name for the commands
    <!-- check: not run: WHY -->     commands that are only parsed; their programs and files exist
    <!-- check: by PATH: WHY -->     another test, which names the page, has it

Exit code 77: skipped, since the system refuses what the commands need.
"""
import json
import pathlib
import subprocess
import sys
import tempfile

import blocks
import session

WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wshadow", "-Werror"]


class Failure(Exception):
    """What is wrong with a block, in words for the reader of the test's output."""


def run(words, **more):
    done = subprocess.run(words, capture_output=True, text=True, check=False, **more)
    if done.returncode != 0:
        raise Failure(f"{' '.join(map(str, words))}\n{done.stdout}{done.stderr}")
    return done.stdout


class Checker:
    def __init__(self, settings, page, work):
        self.settings = settings
        self.root = pathlib.Path(settings["source"])
        self.page = page
        self.work = work
        self.tests = []  # what `with the fake` has gathered
        self.session = session.Session(settings, page, work)

    def check(self, block):
        directive, _, argument = block.directive.partition(" ")
        if directive == "by":
            self.check_elsewhere(argument.partition(":")[0])
        elif block.directive == "with the fake":
            self.tests.append(block.text)
        elif directive == "frame":
            frame = (self.root / "tests/docs/frames" / argument).read_text()
            self.compile(block, frame.replace("BLOCK", block.text))
        elif block.directive.startswith("not run: "):
            session.check_words(self.settings, block.text)
        else:
            self.check_by_language(block)
            if directive == "file":
                self.session.add_file(argument, block.text)
            elif directive:
                raise Failure(f"nobody knows what 'check: {block.directive}' means")

    def check_by_language(self, block):
        checks = {"cpp": lambda: self.compile(block, block.text),
                  "c": lambda: self.compile(block, block.text),
                  "sh": lambda: self.session.add_commands(block),
                  "yaml": lambda: self.check_yaml(block.text),
                  "json": lambda: json.loads(block.text),
                  "cmake": lambda: self.check_cmake(block.text),
                  "": lambda: self.check_text(block.text)}
        if block.language not in checks:
            raise Failure(f"nothing checks a block of '{block.language}'")
        checks[block.language]()

    def check_elsewhere(self, path):
        test = self.root / path
        if not test.exists() or self.page not in test.read_text():
            raise Failure(f"{path} is no test that names {self.page}")

    def compile(self, block, text):
        """The library is the double for whatever includes its header."""
        source = self.work / f"block{block.line}.{block.language}"
        source.write_text(text)
        is_c = block.language == "c"
        with_fake = "fake_platform.h" in text
        library = pathlib.Path(self.settings["fake" if with_fake else "library"])
        run([self.settings["cc" if is_c else "cxx"], "-std=c11" if is_c else "-std=c++17",
             *WARNINGS, *self.sanitize(), f"-I{self.root}/include", f"-I{self.root}", source,
             *self.libraries(text, library, is_c), "-o", source.with_suffix("")])
        return source.with_suffix("")

    def sanitize(self):
        kinds = self.settings["sanitize"]
        return [f"-fsanitize={kinds}"] if kinds else []

    def libraries(self, text, library, is_c):
        """A C program lacks what a sanitizer's C++ needs, and is not linked there."""
        if is_c and self.settings["sanitize"]:
            return ["-c"]
        tests = ["-lgmock_main", "-lgmock", "-lgtest"] if "gmock" in text else []
        return [library, f"-Wl,-rpath,{library.parent}", *tests, "-pthread"]

    def check_yaml(self, text):
        file = self.work / "block.yaml"
        file.write_text(text)
        if "SecVfs" in text:
            self.check_table(file)
            self.session.set_table(text)
        elif "resource:" in text:
            run([self.settings["ownerd"], "--check", file])
        else:
            raise Failure("neither an owner table nor an owner's configuration")

    def check_table(self, file):
        done = subprocess.run([self.root / "scripts/with-config", file, self.settings["ctl"],
                               "owners", "--json"], capture_output=True, text=True, check=False)
        if done.returncode == 77:
            raise session.Skipped(done.stderr)
        answer = json.loads(done.stdout)
        if answer["mistakes"] or not answer["owners"]:
            raise Failure(f"the reader of owner tables says {answer}")

    def check_cmake(self, text):
        """Targets stand in for those that the commands link."""
        project = self.work / "project"
        project.mkdir(exist_ok=True)
        frame = (self.root / "tests/docs/frames/CMakeLists.txt").read_text()
        (project / "CMakeLists.txt").write_text(frame.replace("BLOCK", text))
        run([self.settings["cmake"], "-S", project, "-B", project / "build"])

    def check_text(self, text):
        first = text.lstrip("\n").splitlines()[0].strip()
        for line in (self.root / "tests/docs/texts.list").read_text().splitlines():
            known, _, held_by = line.rpartition(" | ")
            if known == f"{self.page} | {first}":
                if "/" in held_by:
                    self.check_elsewhere(held_by)
                return
        raise Failure(f"no language, and texts.list does not know '{first}'")

    def finish(self):
        if self.tests:
            program = self.compile(blocks.Block(self.page, 0, "cpp", ""), "\n".join(self.tests))
            listed = run([program, "--gtest_list_tests"]).splitlines()
            suite = ""
            for line in listed:
                if not line.startswith(" "):
                    suite = line.strip()
                elif suite.endswith("."):  # each in a process of its own
                    run([program, f"--gtest_filter={suite}{line.strip()}"])
        self.session.run()


def main():
    settings = json.loads(pathlib.Path(sys.argv[1]).read_text())
    page = sys.argv[2]
    wrong = []
    with tempfile.TemporaryDirectory() as directory:
        checker = Checker(settings, page, pathlib.Path(directory))
        if "docs/man/" in page and ".SH EXAMPLES\n" not in (checker.root / page).read_text():
            wrong.append(f"{page}: no examples")
        for block in blocks.of_page(checker.root, page):
            try:
                checker.check(block)
            except (Failure, session.Failure, ValueError, OSError) as failure:
                wrong.append(f"{block.place}: {failure}")
            except session.Skipped as reason:
                print(f"skipped: {reason}")
                return 77
        try:
            checker.finish()
        except (Failure, session.Failure) as failure:
            wrong.append(f"{page}: {failure}")
        except session.Skipped as reason:
            print(f"skipped: {reason}")
            return 77
    print("\n".join(wrong) or f"every block of {page} holds")
    return bool(wrong)


if __name__ == "__main__":
    sys.exit(main())
