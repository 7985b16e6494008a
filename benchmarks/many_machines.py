"""A database, a store, front ends, workers and a balancer, each of which may go and come, for benchmarks/many."""
import hashlib
import json
import os
import shutil
import ssl
import subprocess
import tempfile
import time
import urllib.error
import urllib.request

from backend_client import Backend, Gone, archive_of, port_of

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
# Not those of the tests' own.
DATABASE_PORT, STORE_PORT = 16030, 16040
DATABASE = "postgresql://tester@127.0.0.1:%d/orvanta" % DATABASE_PORT
STORE = "https://127.0.0.1:%d" % STORE_PORT
FRONT_PORTS = (18454, 18455)


class Kept:
    """PostgreSQL or Swift, as the tests have them."""

    def __init__(self, name, folder, port):
        self.port = port
        self.program = os.path.join(ROOT, "tests/support", {"postgres": "database", "swift": "store"}[name], name)
        self.folder = os.path.join(folder, name)

    def act(self, what):
        port = [str(self.port)] if what == "start" else []
        subprocess.run([self.program, what, self.folder] + port, check=True, capture_output=True)


class Site:
    """All of it. Without a balancer clients come to the first front end."""

    def __init__(self, build, wait, fronts=1, balancer=False):
        """Conversions take `wait` milliseconds of nothing; the real ones where it is None."""
        self.build, self.folder = build, tempfile.mkdtemp(prefix="orvanta-many-")
        os.chmod(self.folder, 0o755)
        self.converter = [] if wait is None else [
            "--converter", os.path.join(build, "bin/waiting_converter"), "--converter", str(wait)]
        self.database, self.store = Kept("postgres", self.folder, DATABASE_PORT), Kept("swift", self.folder, STORE_PORT)
        self.database.act("start")
        self.store.act("start")
        os.environ.update(ORVANTA_DATABASE=DATABASE, ORVANTA_S3_KEY="test:tester", ORVANTA_S3_SECRET="testing",
                          ORVANTA_S3_BUCKET="orvanta",
                          SSL_CERT_FILE=os.path.join(self.folder, "swift/certificate.pem"))
        self.client_port = port_of(build)
        self.workers = []
        self.fronts = [self.begin("serve", "--slots", "0", "--allow-anonymous", "--trusted-proxy", "127.0.0.0/8",
                                  port=port if balancer else self.client_port)
                       for port in FRONT_PORTS[:fronts]]
        self.trusted = os.path.join(self.folder, "trusted.pem")
        self.gather(self.trusted, [os.path.join(front.data, "ca.pem") for front in self.fronts] +
                    [os.environ["SSL_CERT_FILE"]])
        self.context = ssl.create_default_context(cafile=self.trusted)
        self.balancer = self.balance() if balancer else None
        self.port, self.host = self.client_port, "localhost"

    def begin(self, command, *options, port=0):
        part = Backend(self.build, "--store-endpoint", STORE, *options, port=port, command=command)
        if not part.start():
            raise RuntimeError("%s does not start: %s" % (command, part.last_words()))
        return part

    def add_workers(self, number, slots=1):
        while len(self.workers) < number:
            self.workers.append(self.begin("work", "--slots", str(slots), *self.converter))

    @staticmethod
    def gather(target, files):
        with open(target, "w") as out:
            for name in files:
                with open(name) as file:
                    out.write(file.read())
        os.chmod(target, 0o600)

    def balance(self):
        pem = os.path.join(self.folder, "balancer.pem")
        first = self.fronts[0].data
        self.gather(pem, [os.path.join(first, "server.pem"), os.path.join(first, "server-key.pem")])
        names = {"ORVANTA_FRONT_%d" % (i + 1): "127.0.0.1:%d" % front.port for i, front in enumerate(self.fronts)}
        return subprocess.Popen(
            ["haproxy", "-W", "-f", os.path.join(ROOT, "packaging/linux/haproxy.cfg")], stderr=subprocess.DEVNULL,
            env=dict(os.environ, ORVANTA_BIND="127.0.0.1:%d" % self.client_port, ORVANTA_PEM=pem,
                     ORVANTA_FRONTS_CA=self.trusted, ORVANTA_FRONTS_NAME="localhost", **names))

    def rows(self, sql):
        psql = ["psql", "-h", "127.0.0.1", "-p", str(DATABASE_PORT), "-U", "tester", "-d", "orvanta", "-Atc", sql]
        return [line.split("|") for line in subprocess.run(psql, check=True, capture_output=True, text=True).stdout.split()]

    def remove(self):
        for part in self.workers + self.fronts:
            if part.process.poll() is None:
                part.kill()
            part.remove()
        if self.balancer:
            self.balancer.terminate()
            self.balancer.wait()
        self.store.act("stop")
        self.database.act("stop")
        shutil.rmtree(self.folder)


class Jobs:
    """Conversions as a client asks for them, and what their results have to be."""

    COMMON = {"input_format": "step", "compress_input": "zip"}

    def __init__(self, site):
        self.site, self.digests = site, {}

    def submit(self, client):
        """The id of a job that was acknowledged, and when it was begun; nothing when it was not."""
        status, body = client.call("POST", "/converter/v2/request", json.dumps(self.COMMON))
        if status != 200:
            return None, 0
        context = json.loads(body)["result"]
        archive = archive_of(os.urandom(300))
        if self.transfer(context["url"], archive)[0] != 200:
            return None, 0
        self.digests[context["request_id"]] = hashlib.sha256(archive).hexdigest()
        begun = time.time()
        status, _ = client.call("POST", "/converter/v2/convert", json.dumps(
            dict(self.COMMON, request_id=context["request_id"], output_format="vxu")))
        return (context["request_id"], begun) if status == 200 else (None, 0)

    def transfer(self, url, body=None):
        request = urllib.request.Request(url, body, {}, method="PUT" if body else "GET")
        try:
            with urllib.request.urlopen(request, timeout=30, context=self.site.context) as answer:
                return answer.status, answer.read()
        except urllib.error.HTTPError as problem:
            return problem.code, b""
        except OSError as problem:
            raise Gone() from problem

    def result(self, client, job, limit=300):
        """The scene of a job, through whatever goes meanwhile; the text of its failure, or nothing at the limit."""
        end = time.monotonic() + limit
        while time.monotonic() < end:
            try:
                status, body = client.call("GET", "/converter/v2/status?request_id=" + job)
                answer = json.loads(body) if status != 503 else {}
                if "error" in answer:
                    return answer["error"]["message"]
                if answer and answer["result"]["state"] == "finished":
                    status, scene = self.transfer(answer["result"]["url"])
                    if status == 200:
                        return scene
                elif answer:
                    continue  # it was held for as long as nothing was new
            except (Gone, ValueError):
                pass
            time.sleep(0.2)
        return None

    def problem_of(self, job, scene):
        if scene is None:
            return "a job that never ends"
        if isinstance(scene, str):
            return "a job that failed: " + scene
        return None if self.digests[job].encode() in scene else "the result of another file"

