"""The button "Cancel" in every stage of an import, in a real window, with a service that is slow where it is told to be."""
import os
import signal
import struct
import subprocess
import time

import harness
import slow_service
from harness import wait_for

# The name and the stage in the dialog of the progress, and its button.
STAGE = (431, 337, 848, 392)
CANCEL = (786, 436)
# The button of the notice about several files.
NOTICE_CANCEL = (992, 656)
# What moves in the dialog.
BAR = (440, 400, 620, 450)

options = harness.arguments()
sandbox = harness.Sandbox(options, backend_port="0")
# The name is in the pictures.
sandbox.prefix = "cancel-"
sandbox.set_settings('{"telemetryDisclaimerModalShowed": 0, "cShowWelcomeWindow": false}')
service = slow_service.SlowService(options.port, sandbox.backend_port, sandbox.data)
display = harness.Display(sandbox)
program = harness.Program(sandbox, "-creds", sandbox.credentials)
state = {}


def left():
    return set(os.listdir(harness.WORKING_FOLDER))


def threads():
    return len(os.listdir("/proc/%d/task" % program.process.pid))


def children(pid):
    found = subprocess.run(["pgrep", "-P", str(pid)], capture_output=True, text=True).stdout.split()
    return found + [grandchild for child in found for grandchild in children(child)]


def processor_time():
    with open("/proc/%d/stat" % program.process.pid) as file:
        fields = file.read().rsplit(")", 1)[1].split()
    return int(fields[11]) + int(fields[12])


def is_idle():
    """Whether a second passes in which hardly anything is done."""
    before = processor_time()
    time.sleep(1)
    return processor_time() - before <= 3


def logged(text):
    """How often the program has logged something."""
    with open(os.path.join(sandbox.folder, "programs.log")) as file:
        return file.read().count(text)


def large_file(megabytes):
    """A part with so much remark in it that nobody can pack it well."""
    file = sandbox.step_file("bracket.step", "part", os.path.join(sandbox.folder, "%d" % megabytes))
    with open(file) as part:
        text = part.read()
    with open(file, "w") as part:
        part.write(text.replace("DATA;", "DATA;\n/*" + os.urandom(megabytes * 500_000).hex() + "*/", 1))
    return file


def many_objects():
    """A scene that takes seconds to read."""
    nodes = b",".join([b'{"mesh":0}'] * 300_000)
    text = (b'{"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[%s]}],"nodes":[%s],'
            b'"meshes":[{"primitives":[{"attributes":{"POSITION":0}}]}],'
            b'"accessors":[{"bufferView":0,"componentType":5126,"count":3,"type":"VEC3"}],'
            b'"bufferViews":[{"buffer":0,"byteLength":36}],"buffers":[{"byteLength":36}]}'
            % (b",".join(b"%d" % i for i in range(300_000)), nodes))
    text += b" " * (-len(text) % 4)
    points = struct.pack("<9f", 0, 0, 0, 1, 0, 0, 0, 1, 0)
    return (struct.pack("<III", 0x46546C67, 2, 28 + len(text) + len(points)) + struct.pack("<II", len(text), 0x4E4F534A) + text
            + struct.pack("<II", len(points), 0x4E4942) + points)


def crop(picture, place):
    left, top, right, bottom = place
    out = os.path.join(sandbox.folder, "crop.ppm")
    subprocess.run(["convert", picture, "-crop", "%dx%d+%d+%d" % (right - left, bottom - top, left, top), "+repage", out], check=True)
    return out


def stage_is(name):
    """Whether the dialog names this stage."""
    approved = os.path.join(os.path.dirname(os.path.abspath(__file__)), "approved", "import_%s.png" % name)
    shown = crop(program.picture("now"), STAGE)
    if options.approve:
        shown = crop(harness.wait_until_still(program, [BAR]), STAGE)
        subprocess.run(["convert", shown, "-strip", approved], check=True)
    # A text of another stage is another in far more.
    return harness.difference(approved, shown) <= 40


def expect_nothing_left(files):
    wait_for("nothing is left of it", lambda: left() == files)
    wait_for("the import has ended", lambda: threads() <= state["threads"])
    wait_for("the program is idle", is_idle)
    program.wait_until_like("nothing is said about it", state["before"], 500)
    assert not children(program.process.pid)
    assert "bracket" in program.title(), program.title()


def cancel(stage, file, is_there, go_on=None):
    """Drops a file, cancels when the stage is reached and shown, and sees that nothing is left of it.

    What only the service can end goes on after the dialog has gone."""
    former, files = logged("STEP loader: connecting"), left()
    program.drop(file)
    wait_for("the stage " + stage, is_there)
    wait_for("the text of " + stage, lambda: stage_is(stage))
    assert logged("STEP loader: connecting") == former + 1
    program.click(*CANCEL)
    program.wait_until_like("the progress has gone", state["before"], 500)
    program.move(5, 795)
    if go_on:
        go_on()
    expect_nothing_left(files)
    service.release()


def hold(call):
    service.hold(call)
    return service.is_reached


def a_first_import_ends_well():
    wait_for("the title names the user", lambda: "tester@example.org" in program.title())
    program.move(5, 795)
    program.drop(sandbox.step_file("bracket.step", "bracket"))
    wait_for("the title names the file", lambda: "bracket" in program.title())
    # The notice about it goes by itself, later.
    wait_for("the program is idle", is_idle)
    state["before"] = harness.wait_until_still(program)
    state["threads"] = threads()
    state["file"] = sandbox.step_file("drive.step", "part", os.path.join(sandbox.folder, "one"))


def while_it_connects():
    cancel("connecting", state["file"], hold("request"), service.release)


def while_it_is_packed():
    former, packed = logged("STEP loader: compressing the file"), logged("STEP loader: removing the temporary copy")
    cancel("uploading", large_file(200), lambda: logged("STEP loader: compressing the file") > former, go_on=lambda: state.update(
        late=logged("STEP loader: removing the temporary copy") > packed))
    assert not state["late"], "the file was packed before Cancel was pressed"


def while_it_is_uploaded():
    cancel("uploading", large_file(30), hold("upload"))


def while_the_conversion_is_asked_for():
    cancel("converting", state["file"], hold("convert"), service.release)


def while_it_is_converted():
    workers = children(sandbox.backend.pid)
    assert workers

    def each(what):
        for worker in workers:
            os.kill(int(worker), what)
    former = logged("STEP loader: waiting for the converter process")
    each(signal.SIGSTOP)
    try:
        cancel("converting", state["file"], lambda: logged("STEP loader: waiting for the converter process") > former)
    finally:
        each(signal.SIGCONT)


def while_it_is_downloaded():
    cancel("downloading", state["file"], hold("download"))


def while_it_is_read():
    former = logged("STEP loader: processing the file")
    service.result = many_objects()
    cancel("processing", state["file"], lambda: logged("STEP loader: processing the file") > former)
    service.result = None


def while_several_are_imported_in_the_background():
    files = left()
    service.hold("upload")
    program.drop(*(sandbox.step_file("drive.step", stem) for stem in ("left", "right")))
    wait_for("an upload", service.is_reached)
    program.wait_until_changed("the notice is shown", state["before"], 3_000)
    harness.wait_until_approved(program, options, "import_notice")
    program.click(*NOTICE_CANCEL)
    program.move(5, 795)
    program.wait_until_like("the notice has gone", state["before"], 500)
    # These transfers cannot be stopped; what they bring is dropped.
    service.release()
    expect_nothing_left(files)


def the_next_import_ends_well():
    program.drop(state["file"])
    wait_for("the title names the file", lambda: "part" in program.title())
    program.wait_until_changed("the part is drawn", state["before"], 30_000)
    program.close()


try:
    harness.run([a_first_import_ends_well, while_it_connects, while_it_is_packed, while_it_is_uploaded,
                 while_the_conversion_is_asked_for, while_it_is_converted, while_it_is_downloaded, while_it_is_read,
                 while_several_are_imported_in_the_background, the_next_import_ends_well])
finally:
    program.process.kill()
    display.close()
    service.close()
    sandbox.close()
