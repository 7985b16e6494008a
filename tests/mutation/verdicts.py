"""What became of each mutant, and the list of those that harm nobody."""
import hashlib
import json
import pathlib
from typing import NamedTuple

from operators import Mutant


class Place(NamedTuple):
    """A mutant in its file."""
    name: str
    source: str
    mutant: Mutant

    @property
    def line_text(self) -> str:
        begin = self.source.rfind("\n", 0, self.mutant.start) + 1
        return self.source[begin:self.source.find("\n", self.mutant.start)].strip()

    @property
    def change(self) -> str:
        """The mutation on one line, in words which stay true when the file is edited elsewhere."""
        old = " ".join(self.source[self.mutant.start:self.mutant.end].split())
        return f"{self.mutant.operator}: {old} -> {self.mutant.new}".rstrip()

    @property
    def key(self) -> str:
        parts = [self.name, self.source, str(self.mutant)]
        return hashlib.sha256("\0".join(parts).encode()).hexdigest()[:16]

    def __str__(self) -> str:
        return f"{self.name}:{self.mutant.line}: {self.change}\n    {self.line_text}"


class Harmless:
    """harmless.txt: entries of four lines (file, the line's text, the mutation, why nobody could notice it), with empty
    lines between them."""

    def __init__(self, path: pathlib.Path):
        self._entries = {}
        for number, entry in enumerate(path.read_text(encoding="utf-8").split("\n\n")):
            lines = [line.strip() for line in entry.splitlines() if line.strip() and not line.startswith("#")]
            if not lines:
                continue
            if len(lines) != 4:
                raise SystemExit(f"{path}: entry {number + 1} has {len(lines)} lines, not 4: {lines[0]}")
            self._entries[tuple(lines[:3])] = lines[3]

    def reason(self, place: Place) -> str | None:
        return self._entries.get((place.name, place.line_text, place.change))

    def unknown(self, places: list[Place], folders: list[str]) -> list[str]:
        """The entries for files of these folders that fit no mutant any more."""
        there = {(place.name, place.line_text, place.change) for place in places}
        return [": ".join(entry) for entry in self._entries
                if entry not in there and any(f"{entry[0]}/".startswith(f"{folder.rstrip('/')}/") for folder in folders)]


class Results:
    """A file to which each verdict is added as a line of JSON, so that a run which was stopped goes on where it was."""

    def __init__(self, path: pathlib.Path, commit: str):
        self._path = path
        self._commit = commit
        self._known = {}
        if path.exists():
            for line in path.read_text(encoding="utf-8").splitlines():
                result = json.loads(line)
                if result["commit"] == commit:
                    self._known[result["key"]] = result

    def of(self, place: Place) -> dict | None:
        return self._known.get(place.key)

    def add(self, place: Place, verdict: str, by: str, seconds: float) -> dict:
        result = {"key": place.key, "commit": self._commit, "file": place.name, "line": place.mutant.line,
                  "change": place.change, "verdict": verdict, "by": by, "seconds": round(seconds, 1)}
        self._known[place.key] = result
        with open(self._path, "a", encoding="utf-8") as out:
            out.write(json.dumps(result) + "\n")
        return result
