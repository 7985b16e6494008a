#!/usr/bin/env python3
"""Holds the tree to its shape: tests/house/house.py [--installed INCLUDE] [ROOT]

Prints every include that points upwards or in a circle or stands nowhere, every public header that includes what its
users do not get, every header that too many include, every one that lacks its example, every function and file that has
grown too long, every folder that is too full, and every one that docs/architecture.md does not name; ends with 1 when there
is any. With --installed it holds a folder of installed headers to the public ones instead.
"""
import argparse
import collections
import pathlib
import posixpath
import re
import subprocess
import sys

from examples import SHOWN, example_in

# Of each module its storeys from the ground up: a folder includes those of its own storey, in no circle, and those below.
STOREYS = {
    "platform/VXMesh": [["io", "math", "system"], ["volume"], ["scene"], ["formats/gltf", "formats/voxels"],
                        ["formats/voxels/saving"], ["formats"]],
    "platform/VXViewer": [["gl", "history", "loop", "system", "ui"], ["draw", "settings", "web", "window", "work"], ["core"],
                          ["dialogs", "menu", "scene", "slices"], ["schema"], ["ribbon"], ["tools"]],
    "source": [["deferred", "telemetry", "account/form"], ["account", "converter"], ["welcome"], ["shell"]],
}
# What each module may include beside itself.
MODULES = {
    "platform/VXMesh": [],
    "platform/reader": ["platform/VXMesh"],
    "platform/VXViewer": ["platform/VXMesh"],
    "source": ["platform/VXViewer", "platform/VXMesh"],
    "app": ["source", "platform/VXViewer", "platform/VXMesh"],
    "backend": ["platform/VXMesh"],
}
# What tries the modules includes them as their own sources do, and what it has of its own.
AROUND = {
    "tests": ["tests", "app", "backend"],
    "benchmarks": ["benchmarks", "tests", "app", "backend"],
    "samples": ["samples"],
}
# How our headers are named where they are included, and where they are.
PREFIXES = {"VXMesh": "platform/VXMesh", "VXViewer": "platform/VXViewer", "VXOrvanta": "source"}
# Arrows that point the wrong way and are still to be turned. One that has gone has to go from here, too.
STILL: set[tuple[str, str]] = set()
# What a public header may include of others, and how the installed package finds it.
PACKAGE = "cmake/VXOrvantaConfig.cmake.in"
FOUND = {
    "json/": "pkg_check_modules(jsoncpp ",
    "tl/": "find_dependency(tl-expected)",
    "boost/": "find_dependency(Boost ",
    "imgui.h": "find_path(VXOrvanta_IMGUI_INCLUDE_DIR imgui.h ",
}
STANDARD = re.compile(r"[a-z_]+$")
# Headers of much that changes, and how many sources may depend on them.
WIDEST = {"platform/VXViewer/core/Viewer.h": 30}
LONGEST_FUNCTION = 60
LONGEST_FILE = 500
# Files of code in one folder: what a reader can take in at a glance.
FULLEST_FOLDER = 25


def sources(root: pathlib.Path) -> list[str]:
    out = subprocess.run(["git", "-C", root, "ls-files", "-co", "--exclude-standard", "*.h", "*.cpp"], check=True,
                         capture_output=True, text=True).stdout.split()
    return sorted(name for name in out if (root / name).is_file())


def module_of(name: str) -> str | None:
    return next((module for module in MODULES if name.startswith(module + "/")), None)


def part_of(name: str) -> str | None:
    """The module, or what stands around the modules."""
    return module_of(name) or next((part for part in AROUND if name.startswith(part + "/")), None)


def folder_of(name: str) -> str:
    return name.rpartition("/")[0]


class Tree:
    def __init__(self, root: pathlib.Path):
        self.root = root
        self.names = sources(root)
        self.texts = {name: (root / name).read_text(encoding="utf-8").splitlines() for name in self.names}

    def target(self, name: str, include: str, quoted: bool) -> str | None:
        """Where an include leads to; None outside of the tree and for a header that is made in the build folder."""
        first, _, rest = include.partition("/")
        if first in PREFIXES:
            return f"{PREFIXES[first]}/{rest}"
        part = part_of(name)
        places = [folder_of(name), *AROUND.get(part, [part])] if quoted else []
        for place in places:
            if (target := posixpath.normpath(f"{place}/{include}")) in self.texts:
                return target
        return None if not quoted or self.is_made(places, pathlib.PurePosixPath(include).stem) else include

    def is_made(self, places: list[str], stem: str) -> bool:
        """Whether one of the places writes this header into its build folder."""
        lists = [self.root / place / "CMakeLists.txt" for place in places]
        return any(re.search(rf"OUTPUT \S*/{stem}\.h\s|:{stem}:", path.read_text(encoding="utf-8"))
                   for path in lists if path.is_file())

    def includes(self):
        """(file, line number, target) of all includes of our own headers."""
        for name in self.names:
            if not part_of(name):
                continue
            for number, line in enumerate(self.texts[name], 1):
                match = re.match(r'\s*#\s*include\s*([<"])([^>"]+)[>"]', line)
                target = match and self.target(name, match[2], match[1] == '"')
                if target:
                    yield name, number, target


def storey_of(folder: str) -> int | None:
    for module, storeys in STOREYS.items():
        for i, rooms in enumerate(storeys):
            if folder in (f"{module}/{room}" for room in rooms):
                return i
    return None


def upward(name: str, target: str) -> bool:
    module, other = part_of(name), part_of(target)
    if module != other:
        return module in MODULES and other not in MODULES[module]
    low, high = storey_of(folder_of(name)), storey_of(folder_of(target))
    return low is not None and high is not None and high > low


def circles(arrows: dict[str, set[str]]) -> list[list[str]]:
    """One way round for each knot of folders."""
    out, done = [], set()

    def walk(folder: str, path: list[str]) -> None:
        if folder in path:
            out.append(path[path.index(folder):] + [folder])
            return
        if folder in done:
            return
        for other in sorted(arrows.get(folder, ())):
            walk(other, path + [folder])
        done.add(folder)

    for folder in sorted(arrows):
        walk(folder, [])
    return out


def check_layers(tree: Tree) -> list[str]:
    problems, arrows, seen = [], {}, set()
    for name, number, target in tree.includes():
        if target not in tree.texts and not (tree.root / (target + ".in")).is_file():
            problems.append(f"{name}:{number}: {target} stands nowhere")
            continue
        here, there = folder_of(name), folder_of(target)
        if here == there:
            continue
        if (here, there) in STILL:
            seen.add((here, there))
            continue
        if upward(name, target):
            problems.append(f"{name}:{number}: {here} includes {there}, which stands above it")
        elif part_of(name) == part_of(target):
            arrows.setdefault(here, set()).add(there)
    problems += ["folders include each other: " + " -> ".join(circle) for circle in circles(arrows)]
    problems += [f"{here} includes {there} no more: tests/house/house.py need not allow it" for here, there in sorted(STILL - seen)
                 if any(folder_of(name) == here for name in tree.names)]
    return problems


def check_storeys(tree: Tree) -> list[str]:
    """Every folder of a module with storeys has one, and docs/architecture.md names it."""
    problems = []
    page = (tree.root / "docs/architecture.md").read_text(encoding="utf-8")
    folders = sorted({folder_of(name) for name in tree.names if module_of(name)} - set(MODULES))
    for folder in folders:
        module = module_of(folder + "/")
        if module in STOREYS and storey_of(folder) is None:
            problems.append(f"{folder} stands in no storey")
        if not re.search(rf"^  .*\b{re.escape(folder.removeprefix(module + '/'))}/", page, re.MULTILINE):
            problems.append(f"docs/architecture.md does not name {folder}")
    return problems


def public_headers(root: pathlib.Path) -> dict[str, str]:
    """Of each public header, as it is included, where it stands."""
    out = {}
    for prefix, folder in PREFIXES.items():
        path = root / folder / "CMakeLists.txt"
        text = path.read_text(encoding="utf-8") if path.is_file() else ""
        listed = re.search(rf"set\({prefix.upper()}_HEADERS\s([^)]*)\)", text)
        out |= {f"{prefix}/{name}": f"{folder}/{name}" for name in (listed[1].split() if listed else [])}
    return out


def check_face(tree: Tree) -> list[str]:
    problems = []
    public = public_headers(tree.root)
    package = tree.root / PACKAGE
    search = package.read_text(encoding="utf-8") if package.is_file() else ""
    found = tuple(library for library, way in FOUND.items() if way in search)
    for include, name in public.items():
        if name not in tree.texts:
            problems.append(f"{name} is public and stands nowhere")
            continue
        for number, line in enumerate(tree.texts[name], 1):
            match = re.match(r'\s*#\s*include\s*[<"]([^>"]+)[>"]', line)
            if match and match[1] not in public and not STANDARD.match(match[1]) and not match[1].startswith(found):
                problems.append(f"{name}:{number}: a public header includes {match[1]}, which its users do not get")
    return problems


def installed_problems(root: pathlib.Path, include: pathlib.Path) -> list[str]:
    public = public_headers(root)
    installed = {path.relative_to(include).as_posix() for path in include.rglob("*.h")}
    return [f"{name} is installed and not public" for name in sorted(installed - set(public))] + [
        f"{name} is public and not installed" for name in sorted(set(public) - installed)]


def check_examples(tree: Tree) -> list[str]:
    public = public_headers(tree.root)
    return [f"{public[name]} opens with no example" for name in SHOWN
            if name in public and not example_in("\n".join(tree.texts[public[name]]))]


def check_widths(tree: Tree) -> list[str]:
    counts = {}
    for name, _, target in tree.includes():
        if module_of(name):
            counts[target] = counts.get(target, 0) + 1
    return [f"{name} is included by {counts[name]} files, at most {most}" for name, most in WIDEST.items()
            if counts.get(name, 0) > most]


def function_lengths(lines: list[str]):
    """(first line, number of lines) of the function bodies, as clang-format lays them out."""
    control = re.compile(r"^\s*(if|for|while|switch|else|do|try|catch|namespace|class|struct|enum|union|extern)\b")
    for i, line in enumerate(lines):
        indent = len(line) - len(line.lstrip())
        if line.strip() != "{" or indent > 4 or i == 0 or control.match(lines[i - 1]):
            continue
        end = next((k for k in range(i + 1, len(lines)) if re.match(rf"^ {{{indent}}}}}", lines[k])), None)
        if end is not None and lines[end].strip() == "}":
            yield i + 1, end - i + 1


def check_sizes(tree: Tree) -> list[str]:
    problems = []
    for name in tree.names:
        lines = tree.texts[name]
        if len(lines) > LONGEST_FILE:
            problems.append(f"{name}: {len(lines)} lines, at most {LONGEST_FILE}")
        problems += [f"{name}:{first}: a function of {count} lines, at most {LONGEST_FUNCTION}"
                     for first, count in function_lengths(lines) if count > LONGEST_FUNCTION]
    return problems


def check_folders(tree: Tree) -> list[str]:
    counts = collections.Counter(folder_of(name) for name in sources(tree.root))
    return [f"{folder} has {count} files, at most {FULLEST_FOLDER}" for folder, count in sorted(counts.items())
            if count > FULLEST_FOLDER]


def problems_of(tree: Tree) -> list[str]:
    checks = [check_layers, check_storeys, check_face, check_examples, check_widths, check_sizes, check_folders]
    return [problem for check in checks for problem in check(tree)]


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--installed", type=pathlib.Path, metavar="INCLUDE")
    parser.add_argument("root", nargs="?", type=pathlib.Path, default=pathlib.Path(__file__).resolve().parents[2])
    arguments = parser.parse_args()
    root = arguments.root.resolve()
    if arguments.installed:
        problems, well = installed_problems(root, arguments.installed), "the public headers are installed, and no other"
    else:
        tree = Tree(root)
        problems, well = problems_of(tree), f"{len(tree.names)} files, each in its place"
    print("\n".join(problems) if problems else well)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
