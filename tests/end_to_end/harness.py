"""What the end-to-end tests share: the back end, a display, the program in a window, and looks at what it shows."""
import argparse
import filecmp
import glob
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

WORKING_FOLDER = "/.service_output_files"


def arguments():
    parser = argparse.ArgumentParser()
    for name in ("program", "backend", "dropper", "samples", "port", "pictures", "build"):
        parser.add_argument("--" + name, required=True)
    parser.add_argument("--installed", action="store_true", help="the programs stand where a package put them")
    parser.add_argument("--approve", action="store_true", help="make the pictures of this run the approved ones")
    options = parser.parse_args()
    os.makedirs(options.pictures, exist_ok=True)
    return options


def wait_for(what, condition, seconds=40):
    """Polls a condition until it holds; a condition that never does is the failure that is reported."""
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        value = condition()
        if value:
            return value
        time.sleep(0.05)
    raise AssertionError("never happened: " + what)


def sandbox_options(backend):
    """With what a back end starts here: where bubblewrap cannot be used it has to be told that it may do without."""
    check = [backend, "serve", "--check", "--data", "unused"]
    if subprocess.run(check, capture_output=True).returncode == 0:
        return []
    print("bubblewrap cannot be used here: the back end runs with --without-sandbox", flush=True)
    return ["--without-sandbox"]


class Sandbox:
    """A home folder and settings of their own, the back end, and an environment that trusts it.

    A fresh one is the machine of somebody who has just installed the program: an empty home, and no account. With a
    port of its own for the back end, something else may stand where the program looks for it."""

    made = []

    def __init__(self, options, fresh=False, backend_port=None):
        Sandbox.made.append(self)
        self.options = options
        self.backend_port = backend_port or options.port
        self.folder = tempfile.mkdtemp(prefix="orvanta-e2e-")
        self.data = os.path.join(self.folder, "data")
        self.environment = dict(os.environ, HOME=os.path.join(self.folder, "home"),
                                XDG_CONFIG_HOME=os.path.join(self.folder, "config"), PATH="/usr/bin:/bin",
                                SSL_CERT_FILE=os.path.join(self.data, "ca.pem"))
        os.makedirs(self.environment["HOME"])
        self.settings = os.path.join(self.environment["XDG_CONFIG_HOME"], "Orvanta")
        self.prefix = "orvanta-e2e-%d-" % os.getpid()
        self.backend = None
        self.start_backend()
        if fresh:
            del self.environment["XDG_CONFIG_HOME"]
            self.settings = os.path.join(self.environment["HOME"], ".config", "Orvanta")
            return
        os.makedirs(self.settings, mode=0o700)
        self.credentials = os.path.join(self.folder, "credentials.json")
        subprocess.run([options.backend, "user", "add", "tester@example.org", "--data", self.data, "--credentials",
                        self.credentials], check=True, capture_output=True)

    def start_backend(self):
        with open(os.path.join(self.folder, "backend.log"), "a") as log:
            self.backend = subprocess.Popen(
                [self.options.backend, "serve", "--data", self.data, "--port", self.backend_port, "--monitor", "127.0.0.1:0"] +
                sandbox_options(self.options.backend), stdout=subprocess.PIPE, stderr=log, text=True)
        line = self.backend.stdout.readline()
        assert "is ready" in line, "the back end does not start: " + line
        self.backend_port = line.strip().rsplit(":", 1)[1]
        self.monitor_port = self.backend.stdout.readline().split()[-1]

    def stop_backend(self):
        self.backend.kill()
        self.backend.wait()

    def set_settings(self, text):
        with open(os.path.join(self.settings, "config.json"), "w") as file:
            file.write(text)

    def log(self):
        """What the back end and all programs have logged."""
        text = ""
        for file in glob.glob(os.path.join(self.folder, "*.log")):
            with open(file) as log:
                text += log.read()
        return text

    def newest_code(self, mails):
        """The code in the newest mail, once there are so many of them."""
        outbox = os.path.join(self.data, "outbox")
        # A mail that is being written has another name.
        names = wait_for("a mail", lambda: (lambda found: found if len(found) >= mails else None)(
            sorted(name for name in os.listdir(outbox) if name.endswith(".eml")) if os.path.isdir(outbox) else []))
        with open(os.path.join(outbox, names[-1])) as mail:
            return re.search(r"code is (\d{6})", mail.read()).group(1)

    def step_file(self, sample, stem, folder=None):
        folder = folder or self.folder
        os.makedirs(folder, exist_ok=True)
        return shutil.copy(os.path.join(self.options.samples, sample), os.path.join(folder, self.prefix + stem + ".step"))

    def close(self):
        if self.backend.poll() is None:
            self.backend.send_signal(signal.SIGCONT)
            self.backend.terminate()
            self.backend.wait()
        for left in glob.glob(os.path.join(WORKING_FOLDER, self.prefix + "*")):
            os.remove(left)
        shutil.rmtree(self.folder, ignore_errors=True)


class Display:
    """A virtual screen without a window manager, as large and as fine as its scale says."""

    def __init__(self, sandbox, scale=1):
        self.scale = scale
        self.size = "%dx%d" % (1280 * scale, 800 * scale)
        read, write = os.pipe()
        self.process = subprocess.Popen(["Xvfb", "-noreset", "-displayfd", str(write), "-screen", "0", self.size + "x24"],
                                        pass_fds=[write], stderr=subprocess.DEVNULL)
        os.close(write)
        with os.fdopen(read) as line:
            self.name = ":" + line.readline().strip()
        sandbox.environment["DISPLAY"] = self.name
        # What desktops tell the programs about a fine monitor.
        subprocess.run(["xprop", "-root", "-f", "RESOURCE_MANAGER", "8s", "-set", "RESOURCE_MANAGER", "Xft.dpi:\t%d\n" % (96 * scale)],
                       env=sandbox.environment, check=True)
        sandbox.display = self

    def close(self):
        self.process.terminate()
        self.process.wait()


class Program:
    """The program in a real window, used by mouse and keyboard. Places are those of a screen of scale 1."""

    def __init__(self, sandbox, *files, another=False):
        self.sandbox = sandbox
        self.scale = sandbox.display.scale
        known = self.windows() if another else []
        with open(os.path.join(sandbox.folder, "programs.log"), "a") as log:
            self.process = subprocess.Popen([sandbox.options.program, "--verbose", "--size", sandbox.display.size, *files],
                                            env=sandbox.environment, stderr=log)
        self.window = wait_for("a window", lambda: self.new_windows(known))[0]

    def windows(self):
        # Without a window the search fails.
        return subprocess.run(["xdotool", "search", "--onlyvisible", "--name", "Orvanta"], env=self.sandbox.environment,
                              capture_output=True, text=True).stdout.split()

    def new_windows(self, known):
        assert self.process.poll() is None, "the program ended with %s" % self.process.returncode
        return [window for window in self.windows() if window not in known]

    def end(self):
        """Ends it without asking."""
        self.process.kill()
        self.process.wait()

    def type(self, text):
        self.xdotool("windowfocus", self.window, "type", text)

    def click(self, x, y):
        self.move(x, y)
        self.xdotool("click", 1)

    def close(self):
        # The window goes between the key's two halves, which xdotool takes for a failure. What is unsaved is discarded.
        wait_for("the end", lambda: [subprocess.run(["xdotool", "windowfocus", self.window, "key", key], capture_output=True,
                                                    env=self.sandbox.environment) for key in ("ctrl+q", "alt+d")]
                 and self.process.poll() is not None)
        assert self.process.wait(timeout=20) == 0
        # What found no window any more is still down, for the next program too, and pressing it again would be nothing new.
        self.xdotool("keyup", "alt", "ctrl", "q", "d")

    def xdotool(self, *words):
        return subprocess.run(["xdotool", *map(str, words)], env=self.sandbox.environment, check=True,
                              capture_output=True, text=True).stdout

    def title(self):
        return self.xdotool("getwindowname", self.window).strip()

    def move(self, x, y):
        self.xdotool("mousemove", "--window", self.window, x * self.scale, y * self.scale)

    def drag(self, button, start, end):
        self.move(*start)
        self.xdotool("mousedown", button)
        steps = 5
        for i in range(1, steps + 1):
            self.move(*(a + (b - a) * i // steps for a, b in zip(start, end)))
        self.xdotool("mouseup", button)

    def key(self, *names):
        # To the window that has the focus the keys of a keyboard are pressed. To any other one events are sent that bear no
        # time, of which the window system's library drops those of a key that was pressed on the keyboard before.
        self.xdotool("windowfocus", self.window, "key", *names)

    def drop(self, *files):
        subprocess.run([self.sandbox.options.dropper, self.window, *files], env=self.sandbox.environment, check=True, timeout=20)

    def picture(self, name):
        # Packing and unpacking would take longer than all the rest.
        file = os.path.join(self.sandbox.folder, name + ".ppm")
        subprocess.run(["import", "-window", self.window, file], env=self.sandbox.environment, check=True)
        return file

    def search(self, letters):
        """Starts a tool by letters of its name."""
        before = self.picture("before_letters")
        self.key("ctrl+f")
        self.wait_until_changed("the field has the keyboard", before, 1)
        empty = self.picture("empty_field")
        self.key(*letters)
        self.wait_until_changed("the results are shown", empty, 2_000)
        self.key("Return")

    def wait_until_changed(self, what, before, at_least):
        """Takes pictures until one differs from `before` in so many pixels, and returns it."""
        return kept_apart(self, wait_for(what, lambda: (lambda now: now if difference(before, now) >= at_least else None)(
            self.picture("now"))))

    def wait_until_like(self, what, before, at_most):
        return wait_for(what, lambda: difference(before, self.picture("now")) <= at_most)


def difference(a, b):
    """Pixels that differ visibly."""
    result = subprocess.run(["compare", "-metric", "AE", "-fuzz", "4%", a, b, "null:"], capture_output=True, text=True)
    assert result.returncode in (0, 1), result.stderr
    return int(float(result.stderr.split()[0]))


def pixel(picture, x, y):
    """Red, green and blue of one pixel."""
    text = subprocess.run(["convert", picture, "-format", "%%[fx:int(255*p{%d,%d}.r)],%%[fx:int(255*p{%d,%d}.g)],%%[fx:int(255*p{%d,%d}.b)]"
                           % (x, y, x, y, x, y), "info:"], check=True, capture_output=True, text=True).stdout
    return tuple(int(value) for value in text.split(","))


def wait_until_still(program, except_for=()):
    """Waits until two pictures after each other are the same but for some rectangles, and returns the last, without them."""
    def taken(name):
        return without(program.picture(name), except_for, program.scale)

    def same():
        first = shutil.copy(taken("still"), os.path.join(program.sandbox.folder, "still_before.ppm"))
        second = taken("still")
        return second if filecmp.cmp(first, second, shallow=False) else None
    return kept_apart(program, wait_for("the window stands still", same))


def kept_apart(program, picture):
    """A copy of a picture that no later wait paints over."""
    return shutil.copy(picture, os.path.join(program.sandbox.folder, "%d.ppm" % time.monotonic_ns()))


def keep(picture, options, name):
    """Keeps a picture for people to look at."""
    file = os.path.join(options.pictures, name + ".png")
    subprocess.run(["convert", picture, file], check=True)
    return file


# So many pixels, at scale 1, may differ from an approved picture.
TOLERANCE = 400


def without(picture, places, scale):
    """A picture with rectangles (left, top, right, bottom) painted over: what is another in each run."""
    words = []
    for left, top, right, bottom in places:
        words += ["-draw", "rectangle %d,%d %d,%d" % (left * scale, top * scale, right * scale, bottom * scale)]
    if words:
        subprocess.run(["mogrify", "-fill", "gray", *words, picture], check=True)
    return picture


def is_like_approved(picture, approved, scale):
    return difference(approved, picture) <= TOLERANCE * scale**2


def approved_file(name):
    return os.path.join(os.path.dirname(os.path.abspath(__file__)), "approved", name + ".png")


def wait_until_approved(program, options, name, except_for=(), seconds=20):
    """The window once it stands still and is like the picture that somebody has looked at and approved.

    A program that the machine keeps waiting may stand still on its way there, too. One that never gets there fails, and
    its picture is kept.
    """
    approved = approved_file(name)
    deadline = time.monotonic() + seconds
    while True:
        picture = wait_until_still(program, except_for)
        if options.approve:
            subprocess.run(["convert", picture, "-strip", "-define", "png:compression-level=9", approved], check=True)
        if is_like_approved(picture, approved, program.scale):
            return picture
        if time.monotonic() > deadline:
            raise AssertionError("%s differs from %s in %d pixels" % (keep(picture, options, name), approved, difference(approved, picture)))


def run(steps):
    """Runs each step of a test and tells which one failed, and what the programs had logged by then."""
    for step in steps:
        print("--", step.__name__.replace("_", " "), flush=True)
        try:
            step()
        except BaseException:
            for sandbox in Sandbox.made:
                print("\n".join(sandbox.log().splitlines()[-60:]), flush=True)
            raise
    print("all steps passed")
    sys.exit(0)
