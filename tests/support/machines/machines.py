"""Machines of a test, and what is run on them: in namespaces of their own, or at addresses of one loopback."""
import os
import pathlib
import re
import signal
import subprocess

HERE = pathlib.Path(__file__).resolve().parent
TREE = HERE.parents[2]
PATH = f"{HERE}/bin:/usr/sbin:/usr/bin:/sbin:/bin"
SSH_PORT = 2222


def can_have_namespaces() -> bool:
    trial = ["unshare", "--net", "--mount", "--uts", "--pid", "--fork", "sh", "-c",
             "ip link add name switch type bridge && mount -t tmpfs t /srv && mkdir /srv/u /srv/w && "
             "mount -t overlay o -o lowerdir=/etc,upperdir=/srv/u,workdir=/srv/w /etc"]
    return os.getuid() == 0 and subprocess.run(trial, capture_output=True).returncode == 0


class Machine:
    """Runs the commands of a document; what they print is told where they fail."""

    def __init__(self, name: str, address: str):
        self.name, self.address = name, address

    def words(self, command: str) -> tuple[list[str], dict[str, str]]:
        raise NotImplementedError

    def start(self, command: str) -> subprocess.Popen:
        words, environment = self.words(command)
        return subprocess.Popen(words, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, text=True, start_new_session=True)

    def run(self, command: str, seconds: int = 90) -> str:
        process = self.start(command)
        try:
            text = process.communicate(timeout=seconds)[0]
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            text = process.communicate()[0] + f"\nIt has not ended after {seconds} s"
        if process.returncode != 0:
            raise AssertionError(f"On {self.name}:\n{command}\n{text}{self.logs()}")
        return text

    def logs(self) -> str:
        words, environment = self.words("tail -n 15 /var/log/orvanta-*.log /var/log/haproxy.log /var/log/swift-proxy.log 2> /dev/null || true")
        return subprocess.run(words, env=environment, capture_output=True, text=True).stdout


class NamespaceMachine(Machine):
    """With a cable to the switch, processes, files and a name of its own."""

    def __init__(self, name: str, address: str, scratch: pathlib.Path, hosts: pathlib.Path, prefix: pathlib.Path):
        super().__init__(name, address)
        script = (f"{HERE}/machine.py lay {name} {scratch} {hosts} {prefix}\n"
                  f"export PATH={PATH} ORVANTA_SSH_PORT={SSH_PORT} ORVANTA_TREE={TREE}\n"
                  # The first process buries all others, which the shell does while it waits.
                  f"{HERE}/machine.py listen 0.0.0.0 {SSH_PORT} &\nwait")
        self.process = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", "unshare", "--net", "--mount", "--uts", "--pid", "--fork", "--kill-child",
                                         "bash", "-ec", script], stdout=subprocess.PIPE, stdin=subprocess.DEVNULL, text=True)
        assert self.process.stdout.readline() == "ready\n", f"{name} does not start"
        first = pathlib.Path(f"/proc/{self.process.pid}/task/{self.process.pid}/children").read_text().split()[0]
        self.inside = ["nsenter", "-t", first, "--net", "--mount", "--uts", "--pid"]
        subprocess.run(["ip", "link", "add", "name", f"to-{name}", "master", "switch", "up", "type", "veth", "peer", "name", "eth0",
                        "netns", first], check=True)
        subprocess.run([*self.inside, "ip", "addr", "add", f"{address}/24", "dev", "eth0"], check=True)
        subprocess.run([*self.inside, "ip", "link", "set", "eth0", "up"], check=True)

    def words(self, command: str) -> tuple[list[str], dict[str, str]]:
        return ([*self.inside, "bash", "-euo", "pipefail", "-c", f"mkdir -p /root/trial\ncd /root/trial\n{command}"],
                {"PATH": PATH, "HOME": "/root", "LANG": "C.UTF-8", "ORVANTA_SSH_PORT": str(SSH_PORT), "ORVANTA_TREE": str(TREE)})

    def plug(self, there: bool) -> None:
        subprocess.run(["ip", "link", "set", f"to-{self.name}", "up" if there else "down"], check=True)

    def close(self) -> None:
        self.process.kill()
        self.process.wait()


class LoopbackMachine(Machine):
    """A folder and an address of the loopback; paths and addresses in what it runs are put in their place."""

    def __init__(self, name: str, address: str, scratch: pathlib.Path, prefix: pathlib.Path, places: dict[str, str]):
        super().__init__(name, address)
        self.root = scratch / name
        for folder in ("etc/default", "etc/haproxy", "etc/orvanta", "etc/ssl", "root/trial", "run", "var/log", "var/lib"):
            (self.root / folder).mkdir(parents=True)
        (self.root / "usr").symlink_to(prefix)
        self.places = places
        self.environment = {"PATH": f"{HERE}/bin:{prefix}/bin:/usr/sbin:/usr/bin:/sbin:/bin", "HOME": f"{self.root}/root",
                            "LANG": "C.UTF-8", "ORVANTA_SSH_PORT": str(SSH_PORT), "ORVANTA_TREE": str(TREE),
                            "ORVANTA_ROOT": str(self.root), "ORVANTA_HOSTS": " ".join(f"{k}={v}" for k, v in places.items())}
        self.process = subprocess.Popen([HERE / "machine.py", "listen", address, str(SSH_PORT)], env=self.environment,
                                        stdout=subprocess.PIPE, stdin=subprocess.DEVNULL, text=True)
        assert self.process.stdout.readline() == "ready\n", f"{name} does not listen"

    def words(self, command: str) -> tuple[list[str], dict[str, str]]:
        for name, place in self.places.items():
            command = command.replace(name, place)
        command = re.sub(r"127\.0\.0\.1(?=:844)|0\.0\.0\.0", self.address, command)
        # What another machine is asked for is in that one's folder.
        command = re.sub(r"(ssh \S+ cat \S+)|(?<![\w./])/(?=(?:etc|root|run|var)/)",
                         lambda found: found[1] or f"{self.root}/", command)
        return ["bash", "-euo", "pipefail", "-c", f"cd {self.root}/root/trial\n{command}"], self.environment

    def plug(self, there: bool) -> None:
        """What is cut off here is only dead."""
        self.run(f"systemctl {'start' if there else 'kill --signal=KILL'} orvanta-backend orvanta-worker")

    def close(self) -> None:
        units = " ".join(one.stem for one in (self.root / "run").glob("*.main"))
        if units:
            self.run(f"systemctl kill --signal=KILL {units}")
        self.process.kill()
        self.process.wait()
