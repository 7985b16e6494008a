"""Runs suites of tests, each in a process of its own and with a limit of time."""
import dataclasses
import os
import pathlib
import signal
import subprocess
import threading
from concurrent.futures import ThreadPoolExecutor

# These share the folder of conversions or the port of the services, so they take turns.
_TAKING_TURNS = {"source_tests", "integration_tests"}
_FIRST_LIMIT = 300.0


@dataclasses.dataclass(frozen=True)
class Unit:
    """What is run together: a suite, or one test of a suite whose tests disturb each other."""
    program: str
    filter: str

    def __str__(self) -> str:
        return f"{self.program} {self.filter}"


def units_in(program: pathlib.Path) -> dict[Unit, list[Unit]]:
    """The suites of a program, each with its tests."""
    listed = subprocess.run([program, "--gtest_list_tests"], check=True, capture_output=True, text=True, timeout=120).stdout
    suites: dict[Unit, list[Unit]] = {}
    suite = ""
    for line in listed.splitlines():
        name = line.split("#")[0].rstrip()
        if not name.startswith(" ") and name.endswith("."):
            suite = name
        elif suite and name.startswith("  ") and not name.strip().startswith("DISABLED_"):
            suites.setdefault(Unit(program.name, suite + "*"), []).append(Unit(program.name, suite + name.strip()))
    return suites


class Runner:
    """Runs units of the build in `folder`, at most `jobs` at a time."""

    def __init__(self, folder: pathlib.Path, jobs: int):
        self._folder = folder
        self._jobs = jobs
        self._turn = threading.Lock()

    def run(self, unit: Unit, limit: float = _FIRST_LIMIT, reach: pathlib.Path | None = None,
            stop: threading.Event | None = None) -> str:
        """How it went: "passed", "failed" or "too long". With `reach`, where it came to is kept in that folder."""
        if unit.program in _TAKING_TURNS:
            with self._turn:
                return self._run(unit, limit, reach, stop)
        return self._run(unit, limit, reach, stop)

    def first_to_fail(self, units: list[tuple[Unit, float]]) -> Unit | None:
        """Runs them in this order until one fails and fails again; each with its limit of time."""
        stop = threading.Event()
        found: list[Unit] = []

        def look(unit: Unit, limit: float) -> None:
            if stop.is_set():
                return
            result = self.run(unit, limit, stop=stop)
            # Once more, so that a busy machine is not taken for a test that has noticed something.
            if result == "failed" and not stop.is_set():
                result = self.run(unit, limit, stop=stop)
            if result != "passed" and not stop.is_set():
                found.append(unit)
                stop.set()

        with ThreadPoolExecutor(self._jobs) as pool:
            list(pool.map(lambda pair: look(*pair), units))
        return found[0] if found else None

    def _run(self, unit: Unit, limit: float, reach: pathlib.Path | None, stop: threading.Event | None) -> str:
        environment = dict(os.environ)
        environment.pop("ORVANTA_REACH", None)
        if reach:
            environment["ORVANTA_REACH"] = str(reach)
        process = subprocess.Popen(
            [self._folder / "tests" / unit.program, f"--gtest_filter={unit.filter}", "--gtest_fail_fast"],
            cwd=self._folder / "tests", env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, start_new_session=True)
        try:
            return self._wait(process, limit, stop)
        finally:
            # What a test that failed has left behind would disturb the next one.
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            process.wait()

    @staticmethod
    def _wait(process: subprocess.Popen, limit: float, stop: threading.Event | None) -> str:
        waited = 0.0
        while True:
            try:
                return "passed" if process.wait(0.5) == 0 else "failed"
            except subprocess.TimeoutExpired:
                waited += 0.5
            if waited >= limit:
                return "too long"
            if stop and stop.is_set():
                return "passed"  # nobody asks any more
