"""The commands of docs/many-machines.md, from bare machines to ten conversions at a time, and plugs that are pulled then.

Each machine has a network, processes and files of its own. Where the system allows none of that, or with
ORVANTA_ONE_NETWORK=1, they are folders, with addresses of one loopback and the database and the store of the other tests.
"""
import contextlib
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

import harness

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support" / "machines"))
from machines import TREE, LoopbackMachine, Machine, NamespaceMachine, can_have_namespaces  # noqa: E402

INSIDE = "ORVANTA_MANY_MACHINES"
PORTS = {"database": 16030, "store": 16040}
SUPPORT = TREE / "tests" / "support"


def blocks(text: str) -> list[tuple[list[str], str]]:
    """The commands of a document, with the names of the machines that they are for."""
    return [(names.split(), commands) for names, commands in re.findall(r"^```sh (.+?)\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)]


def addresses(text: str) -> dict[str, str]:
    """Of each name in the document its address."""
    return {name: address for address, name in re.findall(r"^(10\.\S+) (\S+)$", text, re.MULTILINE)}


class Walk:
    # Conversions of clients lie in a folder that all users share.
    prefix = f"orvanta-machines-{os.getpid()}-"

    def __init__(self, options, scratch: pathlib.Path):
        self.options, self.scratch = options, scratch
        self.machines: dict[str, Machine] = {}
        # The program of this build knows its services by this address alone.
        self.text = (TREE / "docs/many-machines.md").read_text(encoding="utf-8") \
            .replace("https://convert.example.org", f"https://localhost:{options.port}") \
            .replace("ORVANTA_BIND=:443", f"ORVANTA_BIND=127.0.0.1:{options.port}").replace("convert.example.org", "localhost")
        if harness.sandbox_options(options.backend):
            self.text = self.text.replace("\nslots=", "\nwithout-sandbox=true\nslots=")
        for end in ("$i", "*"):
            self.text = self.text.replace(f"part-{end}", f"{self.prefix}{end}")
        self.programs = scratch / "usr"
        subprocess.run(["cmake", "--install", options.build, "--prefix", self.programs], check=True, stdout=subprocess.DEVNULL)

    def build(self) -> None:
        raise NotImplementedError

    def furnish(self) -> None:
        """What the document says there is in the folder of whoever follows it."""
        sample = pathlib.Path(self.options.samples) / "bracket.step"
        for machine in self.machines.values():
            machine.run(f"ln -s {TREE}/packaging packaging; cp {sample} part.step")

    def act(self, names: list[str], commands: str) -> None:
        for name in names:
            print(f"--- {name}\n{commands}{self.machines[name].run(commands)}", flush=True)

    def walk(self) -> None:
        todo = blocks(self.text)
        assert {name for names, _ in todo for name in names} == set(self.machines), "a machine has nothing to do"
        for names, commands in todo:
            self.act(names, commands)

    # What is looked at, from a machine.
    def figure(self, name: str, figure: str) -> float:
        text = self.machines[name].run("curl -sS --fail http://127.0.0.1:8445/metrics")
        return sum(float(value) for value in re.findall(rf"^{re.escape(figure)} (\S+)$", text, re.MULTILINE))

    def converted(self, name: str) -> float:
        return self.figure(name, 'orvanta_conversions_ended_total{end="done"}')

    def jobs(self) -> list[list[str]]:
        text = self.machines["two"].run("set -a && . /etc/default/orvanta-worker && set +a\norvanta-backend jobs list")
        return [line.split() for line in text.splitlines()]

    def client(self, mark: str) -> subprocess.Popen:
        """Opens ten files that nobody has converted yet."""
        mark = self.prefix + mark
        return self.machines["balancer"].start(
            "export SSL_CERT_FILE=$PWD/trusted.pem\n"
            f'for i in $(seq 10); do sed "1a /* {mark} $i */" part.step > {mark}-$i.step; done\n'
            f"Orvanta -noTelemetry -creds ann.json --screenshot {mark}.png {mark}-*.step")

    def close(self) -> None:
        with contextlib.ExitStack() as ends:
            for machine in self.machines.values():
                ends.callback(machine.close)


class Namespaces(Walk):
    def build(self) -> None:
        subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
        subprocess.run(["ip", "link", "add", "name", "switch", "up", "type", "bridge"], check=True)
        hosts = self.scratch / "hosts"
        places = addresses((TREE / "docs/many-machines.md").read_text(encoding="utf-8"))
        hosts.write_text("127.0.0.1 localhost\n" + "".join(f"{place} {name}\n" for name, place in places.items()))
        for name, place in places.items():
            short = "balancer" if name == "convert.example.org" else name.partition(".")[0]
            self.machines[short] = NamespaceMachine(short, place, self.scratch, hosts, self.programs)

    def kill_database(self) -> None:
        self.machines["data"].run("pg_ctlcluster 15 main stop -m immediate")

    def start_database(self) -> None:
        self.machines["data"].run("systemctl start postgresql@15-main")


class OneNetwork(Walk):
    """Database and store are those of other tests, so what the document says of these two is not run."""

    def build(self) -> None:
        database = f"postgresql://tester@127.0.0.1:{PORTS['database']}/orvanta"
        self.helper("database/postgres", "start", PORTS["database"])
        self.helper("store/swift", "start", PORTS["store"])
        places = {"postgresql://orvanta@data.internal.example/orvanta": database, "PGSSLMODE=verify-full": "PGSSLMODE=disable",
                  "https://data.internal.example:8080": f"https://127.0.0.1:{PORTS['store']}",
                  "orvanta:store": "test:tester", "store-word-1": "testing", "10.77.0.0/24": "127.0.0.0/8",
                  "data.internal.example": "127.0.0.11", "one.internal.example": "127.0.0.12",
                  "two.internal.example": "127.0.0.13"}
        for number, name in enumerate(("data", "one", "two", "balancer"), 11):
            self.machines[name] = LoopbackMachine(name, f"127.0.0.{number}", self.scratch, self.programs, places)
        shutil.copy(self.scratch / "swift/certificate.pem", self.scratch / "data/etc/ssl/data.pem")

    def helper(self, program: str, *words) -> None:
        subprocess.run([SUPPORT / program, words[0], self.scratch / pathlib.Path(program).name, *map(str, words[1:])], check=True)

    def act(self, names: list[str], commands: str) -> None:
        if names != ["data"]:
            super().act(names, commands)

    def kill_database(self) -> None:
        self.helper("database/postgres", "kill")

    def start_database(self) -> None:
        self.helper("database/postgres", "again")

    def close(self) -> None:
        with contextlib.ExitStack() as ends:
            ends.callback(self.helper, "store/swift", "stop")
            ends.callback(self.helper, "database/postgres", "stop")
            ends.callback(super().close)
        for left in pathlib.Path(harness.WORKING_FOLDER).glob(self.prefix + "*"):
            left.unlink()


def the_document_leads_to_ten_conversions(walk: Walk) -> None:
    walk.walk()
    jobs = walk.jobs()
    assert len([job for job in jobs if "finished" in job]) == 10, jobs
    picture = walk.scratch / "parts.png"
    walk.machines["balancer"].run(f"cp parts.png {picture}")
    assert picture.stat().st_size > 5000, "the picture of the parts is empty"
    assert walk.converted("one") > 0, "one machine did nothing"
    # It was taken out of the service last.
    walk.machines["two"].run("systemctl start orvanta-backend orvanta-worker")


def a_machine_that_is_cut_off_is_missed_by_nobody(walk: Walk) -> None:
    wait_for("the machine that was stopped serves again", lambda: ready(walk.machines["two"]))
    # Nothing comes to an end, so that the client waits for several, at either front end, when the cable goes.
    one, two = walk.machines["one"], walk.machines["two"]
    for machine in (one, two):
        signal_workers(machine, "STOP")
    client = walk.client("cut")
    wait_for("both have some of it", lambda: walk.figure("one", "orvanta_conversions_running") >= 6)
    one.plug(False)
    signal_workers(two, "CONT")
    text = client.communicate(timeout=120)[0]
    assert client.returncode == 0, text
    # Those that had nothing to do stand still, too, and would take the next ones.
    signal_workers(one, "CONT")
    one.plug(True)


def wait_for(what: str, condition) -> None:
    harness.wait_for(what, condition, 120)


def signal_workers(machine: Machine, name: str) -> None:
    """All below the service; none, where it is dead."""
    machine.run("below() { for one in $(cat /proc/$1/task/*/children 2> /dev/null); do echo $one; below $one; done; }\n"
                f"for one in $(below $(cat /run/orvanta-worker.main)); do kill -{name} $one || true; done")


def ready(machine: Machine) -> bool:
    with contextlib.suppress(AssertionError):
        return bool(machine.run("curl -sS --fail http://127.0.0.1:8444/readyz && curl -sS --fail http://127.0.0.1:8445/readyz"))
    return False


def what_was_taken_outlives_the_database(walk: Walk) -> None:
    two = walk.machines["two"]
    before = len(walk.jobs())
    client = walk.client("killed")
    wait_for("a job is taken", lambda: len(walk.jobs()) > before)
    walk.kill_database()
    walk.start_database()
    # Who asked in that moment may have been told to try again.
    client.communicate(timeout=120)
    wait_for("both machines serve again", lambda: ready(two))
    again = walk.client("again")
    text = again.communicate(timeout=120)[0]
    assert again.returncode == 0, text
    wait_for("all that was taken ends", lambda: not [job for job in walk.jobs() if "queued" in job or "running" in job])
    assert not [job for job in walk.jobs() if "failed" in job], walk.jobs()


def main() -> None:
    own = can_have_namespaces() and not os.environ.get("ORVANTA_ONE_NETWORK")
    if own and not os.environ.get(INSIDE):
        os.environ[INSIDE] = "1"
        os.execvp("unshare", ["unshare", "--net", "--mount", sys.executable, *sys.argv])
    if not own:
        print("No namespaces can be had here: all machines are on one loopback, and their files in folders", flush=True)
    options = harness.arguments()
    with tempfile.TemporaryDirectory(prefix="orvanta-machines-") as folder:
        os.chmod(folder, 0o755)
        walk = (Namespaces if own else OneNetwork)(options, pathlib.Path(folder))
        try:
            walk.build()
            walk.furnish()
            for test in (the_document_leads_to_ten_conversions, a_machine_that_is_cut_off_is_missed_by_nobody,
                         what_was_taken_outlives_the_database):
                test(walk)
                print(f"ok: {test.__name__}", flush=True)
        finally:
            walk.close()


if __name__ == "__main__":
    main()
