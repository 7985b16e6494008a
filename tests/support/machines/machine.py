#!/usr/bin/python3
"""What listens in a machine of a test: machine.py lay NAME SCRATCH HOSTS PREFIX | machine.py listen ADDRESS PORT

The first lays folders that are its own over those that services write to, with the programs below PREFIX in /usr; it wants
namespaces of its own. The second says "ready", and runs what other machines ask it to by "ssh".
"""
import os
import pathlib
import shutil
import socketserver
import subprocess
import sys


class Asked(socketserver.StreamRequestHandler):
    def handle(self) -> None:
        # Of a machine that is only a folder, its files.
        command = self.rfile.read().decode().replace(" /", f" {os.environ.get('ORVANTA_ROOT', '')}/")
        done = subprocess.run(["bash", "-c", command], stdout=subprocess.PIPE)
        self.wfile.write(done.stdout + bytes([done.returncode & 255]))


class Server(socketserver.ThreadingTCPServer):
    allow_reuse_address = True
    daemon_threads = True


def run(*command: str) -> None:
    subprocess.run(command, check=True)


def lay(name: str, scratch: str, hosts: str, prefix: str) -> None:
    run("mount", "--make-rprivate", "/")
    run("mount", "-t", "proc", "proc", "/proc")
    own = pathlib.Path(scratch) / name
    own.mkdir()
    run("mount", "-t", "tmpfs", "own", str(own))
    for folder in ("etc", "usr", "var"):
        (own / folder).mkdir()
        (own / f"{folder}.work").mkdir()
        lower = f"{prefix}:/usr" if folder == "usr" else f"/{folder}"
        run("mount", "-t", "overlay", "own", "-o",
            f"lowerdir={lower},upperdir={own / folder},workdir={own}/{folder}.work", f"/{folder}")
    # What is there outside is nobody's business here: a machine begins with none of it.
    for folder in ("/run", "/root", "/srv", "/etc/postgresql", "/var/lib/postgresql"):
        pathlib.Path(folder).mkdir(exist_ok=True)
        run("mount", "-t", "tmpfs", "-o", "mode=755", "own", folder)
    # What clients have had converted.
    run("mount", "-t", "tmpfs", "-o", "mode=1777", "own", "/.service_output_files")
    run("hostname", name)
    shutil.copy(hosts, "/etc/hosts")
    run("ip", "link", "set", "lo", "up")


def listen(address: str, port: str) -> None:
    server = Server((address, int(port)), Asked)
    print("ready", flush=True)
    server.serve_forever()


if __name__ == "__main__":
    {"lay": lay, "listen": listen}[sys.argv[1]](*sys.argv[2:])
