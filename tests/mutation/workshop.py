"""The copy in which sources are mutated, and its build folder."""
import os
import pathlib
import shutil
import subprocess

# The tests that could notice a change below a folder: what links it, or starts a program that does.
_PROGRAMS = {
    "source": ["source_tests", "app_tests", "ui_tests", "integration_tests"],
    "app": ["app_tests", "ui_tests", "integration_tests"],
    "backend": ["backend_tests", "worker_tests", "app_tests", "ui_tests", "integration_tests"],
    "platform": ["mesh_tests", "viewer_tests", "source_tests", "backend_tests", "worker_tests", "app_tests", "ui_tests",
                 "integration_tests"],
}
# What those start.
_STARTED = ["Orvanta", "orvanta-backend", "vx-read-mesh"]
_HERE = pathlib.Path(__file__).resolve().parent
_PORT = 18443
_COMPILE_LIMIT = 600  # seconds


def programs_for(folders: list[str]) -> list[str]:
    """The programs of tests for these folders, the fast ones first."""
    known = [_PROGRAMS.get(pathlib.PurePath(folder).parts[0], _PROGRAMS["platform"]) for folder in folders]
    return [name for name in _PROGRAMS["platform"] if any(name in names for names in known)]


class Workshop:
    """build/mutants of a repository: the copy in tree/, its build in build/ and what is remembered beside them."""

    def __init__(self, repository: pathlib.Path, jobs: int):
        self.repository = repository
        self.folder = repository / "build" / "mutants"
        # As the compiler and the loader name them.
        self.tree = (self.folder / "tree").resolve()
        self.build = (self.folder / "build").resolve()
        self.jobs = jobs

    def bring(self) -> str:
        """Brings the copy to the last commit, and names it."""
        commit = self._git(self.repository, "rev-parse", "HEAD")
        self.folder.mkdir(parents=True, exist_ok=True)
        if not self.tree.exists():
            subprocess.run(["git", "clone", "--quiet", "--shared", "--no-checkout", self.repository, self.tree], check=True)
        self._git(self.tree, "fetch", "--quiet", "origin", "HEAD")
        self._git(self.tree, "checkout", "--quiet", "--force", "--detach", commit)
        self._git(self.tree, "clean", "--quiet", "--force", "-d")
        return commit

    def build_all(self, programs: list[str]) -> None:
        """Builds these tests in the copy."""
        library = self._reach_library()
        self._configure(library)
        log = self.folder / "build.log"
        if not self.make(programs, log, limit=None):
            raise SystemExit(f"The copy does not build, see {log}")

    def make(self, programs: list[str], log: pathlib.Path, limit: float | None = _COMPILE_LIMIT) -> bool:
        """Whether these tests, with what they start, could be built."""
        with open(log, "w", encoding="utf-8") as out:
            try:
                return subprocess.run(["ninja", "-C", self.build, f"-j{self.jobs}", *_STARTED, *programs], stdout=out, stderr=out,
                                      timeout=limit).returncode == 0
            except subprocess.TimeoutExpired:
                return False

    def sources(self, folders: list[str]) -> list[str]:
        """The C++ files of these folders, as Git knows them."""
        listed = self._git(self.tree, "ls-files", "--", *folders).splitlines()
        return sorted(name for name in listed if name.endswith((".cpp", ".h")) and not name.startswith("tests/"))

    def _reach_library(self) -> pathlib.Path:
        # Beside the other libraries, where a sandboxed worker may read it, too.
        library = self.build / "lib" / "libreach.so"
        library.parent.mkdir(parents=True, exist_ok=True)
        source = _HERE / "reach.c"
        if not library.exists() or library.stat().st_mtime < source.stat().st_mtime:
            subprocess.run(["cc", "-O1", "-Wall", "-shared", "-fPIC", "-o", library, source], check=True)
        return library

    def _configure(self, library: pathlib.Path) -> None:
        service = f"https://localhost:{_PORT}"
        linker = ["-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=mold", "-DCMAKE_SHARED_LINKER_FLAGS=-fuse-ld=mold"]
        subprocess.run(
            ["cmake", "-G", "Ninja", "-S", self.tree, "-B", self.build, "-DCMAKE_BUILD_TYPE=Debug",
             "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -g1", f"-DCMAKE_PROJECT_Orvanta_INCLUDE={_HERE / 'reach.cmake'}",
             f"-DORVANTA_REACH_LIBRARY={library}",
             # A changed library is enough: nothing that links it is linked again, and no test is looked up.
             "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON", "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST",
             "-DORVANTA_TEST_RINGS=unit;ui;integration", f"-DORVANTA_CONVERTER_URL={service}/converter/v2",
             f"-DORVANTA_API_URL={service}", f"-DORVANTA_AUTH_URL={service}", "-DORVANTA_VERSION_SUFFIX= test 1", *(linker if shutil.which("mold") else [])],
            check=True, stdout=subprocess.DEVNULL)

    @staticmethod
    def _git(folder: pathlib.Path, *arguments: str) -> str:
        environment = {name: value for name, value in os.environ.items() if not name.startswith("GIT_")}
        return subprocess.run(["git", "-C", folder, *arguments], check=True, capture_output=True, text=True,
                              env=environment).stdout.strip()
