#!/usr/bin/env python3
"""The checks of the documents' blocks fail where they must.

    check_blocks_test.py SETTINGS
"""
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECK = pathlib.Path(__file__).with_name("check_blocks.py")
SETTINGS = json.loads(pathlib.Path(sys.argv.pop(1)).read_text())


class CheckBlocks(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.root = pathlib.Path(directory.name)
        (self.root / "docs/man").mkdir(parents=True)
        source = pathlib.Path(SETTINGS["source"])
        for name in ("tests", "include", "scripts", "CMakePresets.json", "CMakeLists.txt"):
            (self.root / name).symlink_to(source / name)

    def answer_to(self, text, page="docs/page.md"):
        (self.root / page).write_text(text)
        settings = self.root / "settings.json"
        settings.write_text(json.dumps(dict(SETTINGS, source=str(self.root))))
        done = subprocess.run([sys.executable, CHECK, settings, page], capture_output=True,
                              text=True, check=False)
        if done.returncode == 77:
            self.skipTest(done.stdout)
        return done.returncode, done.stdout

    def assert_refused(self, text, reason, **more):
        code, output = self.answer_to(text, **more)
        self.assertEqual(code, 1, output)
        self.assertIn(reason, output)

    def test_page_without_blocks_holds(self):
        self.assertEqual(self.answer_to("# Title\n\nText.\n")[0], 0)

    def test_language_that_nothing_checks_is_refused(self):
        self.assert_refused("```rust\nfn main() {}\n```\n", "docs/page.md:1: nothing checks")

    def test_block_without_language_is_refused(self):
        self.assert_refused("```\nwords\n```\n", "texts.list does not know 'words'")

    def test_indented_block_is_refused(self):
        self.assert_refused("Text:\n\n    ls -l\n", "docs/page.md:3: no language")

    def test_continued_list_item_is_no_block(self):
        self.assertEqual(self.answer_to("- item\n\n    goes on\n")[0], 0)

    def test_program_that_does_not_compile_is_refused(self):
        self.assert_refused("```cpp\nint main() { return x; }\n```\n", "not declared" if
                            "clang" not in SETTINGS["cxx"] else "undeclared")

    def test_warning_is_refused(self):
        self.assert_refused("```cpp\nint main() { int unused; }\n```\n", "unused")

    def test_failing_command_is_refused_with_its_place(self):
        self.assert_refused("```sh\ntrue\nls /nowhere\n```\n", "docs/page.md:1: failed with 2")

    def test_wrong_owner_table_is_refused(self):
        self.assert_refused('```yaml\na: {OsType: 0, GroupOwner: 7, SecVfs: "x"}\n```\n',
                            "the reader of owner tables says")

    def test_wrong_configuration_is_refused(self):
        self.assert_refused("```yaml\ngroup: APPMGR\nresource: a\napplication: {}\n```\n",
                            "application")

    def test_other_yaml_is_refused(self):
        self.assert_refused("```yaml\na: 1\n```\n", "neither an owner table")

    def test_broken_json_is_refused(self):
        self.assert_refused('```json\n{"a": }\n```\n', "docs/page.md:1")

    def test_unknown_preset_is_refused(self):
        self.assert_refused("```sh\ncmake --preset fast\n```\n", "no preset fast")

    def test_file_of_commands_that_are_not_run_must_exist(self):
        self.assert_refused("<!-- check: not run: why -->\n```sh\nscripts/nothing now\n```\n",
                            "there is no scripts/nothing")

    def test_program_of_commands_that_are_not_run_must_exist(self):
        self.assert_refused("<!-- check: not run: why -->\n```sh\nno-such-program\n```\n",
                            "there is no program no-such-program")

    def test_option_of_commands_that_are_not_run_must_exist(self):
        self.assert_refused("<!-- check: not run: why -->\n```sh\nownerlinkctl list --fast\n```\n",
                            "ownerlinkctl has no option --fast")

    def test_other_test_must_name_the_page(self):
        self.assert_refused("<!-- check: by tests/CMakeLists.txt: why -->\n```rust\n```\n",
                            "no test that names docs/page.md")

    def test_unknown_directive_is_refused(self):
        self.assert_refused("<!-- check: never -->\n```json\n{}\n```\n", "nobody knows")

    def test_manual_without_examples_is_refused(self):
        self.assert_refused(".SH NAME\n", "no examples", page="docs/man/a.1")

    def test_failing_example_of_a_manual_is_refused(self):
        self.assert_refused(".SH EXAMPLES\n.EX\nfalse\n.EE\n", "docs/man/a.1:2: failed with 1",
                            page="docs/man/a.1")


if __name__ == "__main__":
    unittest.main()
