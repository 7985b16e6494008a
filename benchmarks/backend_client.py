"""What the benchmarks of the back end share: its process, a client on one kept connection, and how times are told."""
import http.client
import io
import json
import os
import re
import shutil
import ssl
import subprocess
import tempfile
import time
import zipfile

TARGET = "AWSCognitoIdentityProviderService."
PASSWORD = "Soaked-word-1"


class Gone(Exception):
    """The back end is not there, or went while it was asked."""


def port_of(build):
    """Where the programs of a build look for the service."""
    with open(os.path.join(build, "CMakeCache.txt")) as file:
        return int(re.search(r"ORVANTA_CONVERTER_URL:STRING=https://localhost:(\d+)", file.read()).group(1))


class Backend:
    """The process, which comes and goes, on a folder of its own."""

    def __init__(self, build, *options, port=None, data=None, command="serve"):
        self.program = os.path.join(build, "bin/orvanta-backend")
        self.data = data or tempfile.mkdtemp(prefix="orvanta-benchmark-")
        self.options, self.command = list(options), command
        self.port, self.host = port_of(build) if port is None else port, "localhost"
        self.process, self.context, self.log = None, None, self.data + ".log"

    def start(self):
        with open(self.log, "a") as log:
            port = ["--port", str(self.port)] if self.command == "serve" else []
            self.process = subprocess.Popen([self.program, self.command, "--data", self.data] + port + self.options,
                                            stdout=subprocess.PIPE, stderr=log, text=True)
        line = self.process.stdout.readline()
        if " ready" not in line:
            self.process.wait()
            return False
        if port:
            self.context = ssl.create_default_context(cafile=os.path.join(self.data, "ca.pem"))
        return True

    def measure(self):
        """Megabytes and descriptors."""
        pid = self.process.pid
        with open("/proc/%d/status" % pid) as file:
            megabytes = int(re.search(r"VmRSS:\s+(\d+)", file.read()).group(1)) // 1024
        return megabytes, len(os.listdir("/proc/%d/fd" % pid))

    def kill(self):
        self.process.kill()
        self.process.wait()

    def stop(self):
        self.process.terminate()
        return self.process.wait(timeout=120)

    def last_words(self):
        with open(self.log, errors="replace") as file:
            return " | ".join(file.read().splitlines()[-3:])

    def remove(self):
        shutil.rmtree(self.data, ignore_errors=True)
        if os.path.exists(self.log):
            os.remove(self.log)

    def add_user(self, email):
        subprocess.run([self.program, "user", "add", email, "--password-stdin", "--data", self.data],
                       input=PASSWORD + "\n", text=True, check=True, capture_output=True)


class Client:
    """One connection, opened again when it is lost; from an address of this machine when one is given."""

    def __init__(self, backend, source=None):
        self.backend, self.source, self.connection = backend, source, None

    def call(self, method, path, body=None, headers=None):
        try:
            if self.connection is None:
                self.connection = http.client.HTTPSConnection(
                    self.backend.host, self.backend.port, timeout=30, context=self.backend.context,
                    source_address=(self.source, 0) if self.source else None)
            self.connection.request(method, path, body, headers or {})
            answer = self.connection.getresponse()
            return answer.status, answer.read()
        except (OSError, http.client.HTTPException) as problem:
            self.close()
            raise Gone() from problem

    def close(self):
        if self.connection:
            self.connection.close()
            self.connection = None

    def auth(self, operation, headers=None, **members):
        status, body = self.call("POST", "/auth", json.dumps(members),
                                 dict(headers or {}, **{"x-amz-target": TARGET + operation}))
        return status, json.loads(body)

    def sign_in(self, email, password=PASSWORD):
        return self.auth("InitiateAuth", AuthFlow="USER_PASSWORD_AUTH",
                         AuthParameters={"USERNAME": email, "PASSWORD": password})

    def refresh(self, token):
        return self.auth("InitiateAuth", AuthFlow="REFRESH_TOKEN_AUTH", AuthParameters={"REFRESH_TOKEN": token})


def path_of(url):
    return "/" + url.split("/", 3)[3]


def archive_of(content):
    packed = io.BytesIO()
    with zipfile.ZipFile(packed, "w", zipfile.ZIP_DEFLATED) as archive:
        archive.writestr("input", content)
    return packed.getvalue()


def times_of(work, number):
    """Milliseconds of each of so many calls."""
    out = []
    for _ in range(number):
        begin = time.monotonic()
        work()
        out.append((time.monotonic() - begin) * 1000)
    return out


def quantile(times, part):
    times = sorted(times)
    return times[min(len(times) - 1, int(len(times) * part))]


def told(times):
    return "median %.2f ms, p99 %.2f ms, longest %.0f ms of %d" % (
        quantile(times, 0.5), quantile(times, 0.99), max(times), len(times))
