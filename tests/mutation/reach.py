"""The map: which tests come to which lines."""
import array
import bisect
import collections
import hashlib
import json
import os
import pathlib
import shutil
import subprocess
import time

from suites import Runner, Unit, units_in
from workshop import Workshop

_TEXT_SIZE = 1 << 16  # as in reach.c


class Reach:
    """Asks the map; make it with `made`. `idle` is where each process comes to that merely starts."""

    def __init__(self, units: dict[Unit, tuple[float, dict[str, list[int]]]], idle: dict[str, set[int]]):
        self._units = {unit: (seconds, {name: set(lines) - idle.get(name, set()) for name, lines in places.items()})
                       for unit, (seconds, places) in units.items()}
        self._idle = idle

    def units(self) -> list[Unit]:
        return list(self._units)

    def unit(self, name: str) -> Unit:
        """The unit which is written so."""
        return next(unit for unit in self._units if str(unit) == name)

    def seconds(self, unit: Unit) -> float:
        return self._units[unit][0]

    def order(self, name: str, line: int) -> list[list[Unit]]:
        """Who could notice a change of this line: who comes to it, who comes to the file, and the others where nobody
        comes to the file, where everybody comes to the line by starting, and where it is a header, which may hold mere
        constants. In each group those first who see much of the file in little time."""
        come_to = {at for _, places in self._units.values() for at in places.get(name, set())}
        idle = self._idle.get(name, set())
        known = sorted(come_to | idle)
        # A branch is noted at its first line only, so the last one before the change stands for it.
        index = bisect.bisect_right(known, line)
        branch = known[index - 1] if index else None
        groups: list[list[Unit]] = [[], [], []]
        for unit, (_, places) in self._units.items():
            lines = places.get(name, set())
            groups[0 if branch in lines else 1 if lines else 2].append(unit)
        if come_to and branch not in idle and not name.endswith(".h"):
            groups.pop()

        def worth(unit: Unit) -> tuple[float, str]:
            seconds, places = self._units[unit]
            return seconds / (1 + len(places.get(name, set()))), str(unit)

        return [sorted(group, key=worth) for group in groups]


def made(workshop: Workshop, runner: Runner, programs: list[str], say) -> Reach:
    """The map of these programs. Kept from one run to the next for programs which have not changed since."""
    kept_at = workshop.folder / "reach.json"
    kept = json.loads(kept_at.read_text()) if kept_at.exists() else {}
    for name in programs:
        digest = _digest(workshop, name)
        if kept.get(name, {}).get("digest") != digest:
            kept[name] = {"digest": digest, "idle": _run(workshop, runner, Unit(name, "-*"))["places"],
                          "units": _look_at(workshop, runner, name, say)}
            kept_at.write_text(json.dumps(kept))
    idle: dict[str, set[int]] = collections.defaultdict(set)
    for name in programs:
        for file, lines in kept[name]["idle"].items():
            idle[file].update(lines)
    return Reach({Unit(name, unit["filter"]): (unit["seconds"], unit["places"])
                  for name in programs for unit in kept[name]["units"]}, idle)


def _digest(workshop: Workshop, name: str) -> str:
    out = hashlib.sha256()
    for path in [workshop.build / "tests" / name, *sorted((workshop.build / "lib").glob("*.so")),
                 *sorted((workshop.build / "bin").glob("orvanta-backend"))]:
        out.update(path.read_bytes())
    return out.hexdigest()


def _look_at(workshop: Workshop, runner: Runner, name: str, say) -> list[dict]:
    out = []
    for suite, tests in units_in(workshop.build / "tests" / name).items():
        found = _run(workshop, runner, suite)
        if found is None:
            # Its tests disturb each other in one process; ctest gives each its own, too.
            for test in tests:
                found = _run(workshop, runner, test) or _run(workshop, runner, test)
                if found is None:
                    say(f"left out, as it fails without a mutant: {test}")
                else:
                    out.append(found)
        else:
            out.append(found)
        say(f"map: {suite}")
    return out


def _run(workshop: Workshop, runner: Runner, unit: Unit) -> dict | None:
    traces = workshop.folder / "traces"
    shutil.rmtree(traces, ignore_errors=True)
    traces.mkdir()
    # Its processes may run as somebody else.
    traces.chmod(0o1777)
    begin = time.monotonic()
    if runner.run(unit, reach=traces) != "passed":
        return None
    seconds = time.monotonic() - begin
    return {"filter": unit.filter, "seconds": round(seconds, 2), "places": _places(workshop, traces)}


def _places(workshop: Workshop, traces: pathlib.Path) -> dict[str, list[int]]:
    offsets: dict[str, set[int]] = collections.defaultdict(set)
    for trace in traces.iterdir():
        data = trace.read_bytes()
        modules = []
        for line in data[:_TEXT_SIZE].rstrip(b"\0").decode().splitlines():
            begin, end, path = line.split(" ", 2)
            if path.startswith(str(workshop.build)):
                modules.append((int(begin, 16), int(end, 16), path))
        for place in filter(None, array.array("Q", data[_TEXT_SIZE:])):
            for begin, end, path in modules:
                if begin <= place < end:
                    offsets[path].add(place - begin - 1)
    out: dict[str, set[int]] = collections.defaultdict(set)
    for path, there in offsets.items():
        for name, line in _lines(path, there, f"{workshop.tree}/"):
            out[name].add(line)
    return {name: sorted(lines) for name, lines in sorted(out.items())}


_known: dict[tuple[str, int], tuple[str, int] | None] = {}


def _lines(path: str, offsets: set[int], tree: str) -> list[tuple[str, int]]:
    unknown = sorted(offset for offset in offsets if (path, offset) not in _known)
    if unknown:
        text = subprocess.run(["addr2line", "-e", path], input="\n".join(map(hex, unknown)), capture_output=True, text=True,
                              check=True).stdout
        for offset, line in zip(unknown, text.splitlines()):
            name, _, number = line.split(" ")[0].rpartition(":")
            name = os.path.realpath(name)  # headers are found by way of a link in the build folder
            ours = name.startswith(tree) and number.isdigit() and not name.startswith(tree + "tests/")
            _known[(path, offset)] = (name[len(tree):], int(number)) if ours else None
    return [found for offset in offsets if (found := _known[(path, offset)])]
