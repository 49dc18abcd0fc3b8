"""Runs the commands of one page as its reader would: in a clone of the tree whose build stands, in
one shell, in the page's order, with the owner table that the page shows.

What needs root, a running service manager or minutes of building is done by the programs in
doubles/, which check their arguments. worlds/PAGE, where there is one, is what the reader is taken
to have done before: a shell script that runs ahead of the first command.
"""
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess

LIMIT = 400  # seconds for a whole page

# Of a page that shows no owner table.
DEFAULT_TABLE = 'apps: {OsType: 0, GroupOwner: 2, SecVfs: "dp:/res/pm/appmgr"}\n'

# Ahead of the commands. An owner that was started in the background is waited for; at the end
# everything that still runs in the background ends.
OPENING = r"""
set -eE -o pipefail
place="before the first command"
trap 'echo "$place: failed with $?: $BASH_COMMAND" >&2' ERR
end_all() {
    local processes
    processes=$(jobs -p)
    [ -z "$processes" ] || kill $processes 2>/dev/null || true
    wait 2>/dev/null || true
}
trap end_all EXIT
await_owner() {
    for _ in {1..1200}; do
        if ls "$OWNERLINK_RUNTIME_DIR"/*.res >/dev/null 2>&1; then
            return 0
        fi
        sleep 0.05
    done
    echo "no owner has come up" >&2
    return 1
}
"""


class Failure(Exception):
    """A command that failed, with what it printed."""


class Skipped(Exception):
    """The system refuses what the commands need."""


class Session:
    def __init__(self, settings, page, work):
        self.settings = settings
        self.root = pathlib.Path(settings["source"])
        self.world = self.root / "tests/docs/worlds" / pathlib.Path(page).name
        self.page = page
        self.clone = work / "clone"
        self.table = ""
        self.script = ""
        self.files = {}

    def set_table(self, text):
        self.table = self.table or text

    def add_file(self, name, text):
        self.files[name] = text

    def add_commands(self, block):
        self.script += f"place={shlex.quote(block.place)}\n{block.text}"
        if re.search(r" &$", block.text, re.MULTILINE):
            self.script += "await_owner\n"

    def run(self):
        if not self.script:
            return
        self._make_clone()
        script = self.clone.parent / "session.sh"
        opening = OPENING + (f". {self.world}\n" if self.world.exists() else "")
        script.write_text(opening + self.script)
        table = self.clone.parent / "owners.yaml"
        table.write_text(self.table or DEFAULT_TABLE)
        done = subprocess.run(
            [self.root / "scripts/with-config", table, "timeout", str(LIMIT), "bash", script],
            cwd=self.clone, env=self._environment(), stdin=subprocess.DEVNULL,
            capture_output=True, text=True, errors="replace", check=False)
        if done.returncode == 77:
            raise Skipped(done.stderr)
        if done.returncode != 0:
            raise Failure(f"exit code {done.returncode}\n{done.stdout}{done.stderr}")

    def _make_clone(self):
        (self.clone / "build").mkdir(parents=True)
        for entry in self.root.iterdir():
            if entry.name not in ("build", ".git"):
                (self.clone / entry.name).symlink_to(entry)
        presets = json.loads((self.root / "CMakePresets.json").read_text())
        for preset in presets["configurePresets"]:
            (self.clone / "build" / preset["name"]).symlink_to(self.settings["build"])
        for name, text in self.files.items():
            (self.clone / name).write_text(text)
        self.clone.with_name("run").mkdir()

    def _environment(self):
        tools = [str(pathlib.Path(self.settings[tool]).parent) for tool in ("ctl", "ownerd")]
        doubles = str(self.root / "tests/docs/doubles")
        kinds = self.settings["sanitize"]
        return dict(os.environ,
                    PATH=":".join([doubles, *tools, os.environ["PATH"]]),
                    LD_LIBRARY_PATH=str(pathlib.Path(self.settings["library"]).parent),
                    HOME=str(self.clone.parent),
                    TMPDIR=str(self.clone.parent),
                    OWNERLINK_RUNTIME_DIR=str(self.clone.with_name("run")),
                    EXAMPLES=self.settings["examples"],
                    SANITIZE=kinds,
                    UNBOUND=self.settings["unbound"],
                    SAMPLES=self.settings["samples"],
                    DOCS_SOURCE=str(self.root),
                    DOCS_COMPILER=self.settings["cxx"] + (f" -fsanitize={kinds}" if kinds else ""),
                    DOCS_BUILD=self.settings["build"])


def check_words(settings, text):
    """For commands that are not run: they parse, and what they name exists."""
    done = subprocess.run(["bash", "-n"], input=text, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise Failure(done.stderr)
    root = pathlib.Path(settings["source"])
    folders = {entry.name for entry in root.iterdir()} - {"build"}
    for line in text.replace("\\\n", " ").splitlines():
        words = shlex.split(line, comments=True)
        for word in words:
            path = pathlib.PurePosixPath(word.removeprefix("./"))
            is_ours = word.startswith("./") or len(path.parts) > 1 and path.parts[0] in folders
            if is_ours and "build" not in path.parts and not (root / path).exists():
                raise Failure(f"there is no {word}")
        _check_command(settings, words)


def _check_command(settings, words):
    while words and re.match(r"^\w+=", words[0]):
        words = words[1:]
    if not words or words[0] in ("cd", "export"):
        return
    ours = {"ownerlinkctl": settings["ctl"], "ownerlink-ownerd": settings["ownerd"]}
    if words[0] in ours:
        flag = "--help-all" if words[0] == "ownerlinkctl" else "--help"
        known = subprocess.run([ours[words[0]], flag], capture_output=True, text=True, check=True)
        for word in words[1:]:
            if word.startswith("--") and word.partition("=")[0] not in known.stdout:
                raise Failure(f"{words[0]} has no option {word}")
    elif "/" not in words[0] and not _is_known(settings, words[0]):
        raise Failure(f"there is no program {words[0]}")


def _is_known(settings, program):
    """Programs of Debian that the machine of the tests need not have stand in programs.list."""
    listed = (pathlib.Path(settings["source"]) / "tests/docs/programs.list").read_text().split()
    return program in listed or shutil.which(program) is not None
