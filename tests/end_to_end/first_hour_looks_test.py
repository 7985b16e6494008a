"""What a new user sees in the first hour, in the light theme and on fine screens: a short walk for each of them.

The whole hour, in the dark theme and at scale 1, is in first_hour_test.py."""
import json
import os
import signal
import subprocess

import harness
from harness import wait_for

options = harness.arguments()
sandbox = harness.Sandbox(options)
# The names are in the pictures.
sandbox.prefix = "first-hour-"
# The middle of the free area at 1280x800: right of the scene list, below the ribbon.
MIDDLE = (766, 463)
# The upper left corner of the sign-in form.
FORM = (420, 234)
# Where the bar of a running import tells its time.
ELAPSED = (446, 425, 560, 446)
state = {}


def program():
    process = state["program"].process
    assert process.poll() is None, "the program has ended with %s" % process.returncode
    return state["program"]


def still(station, except_for=()):
    """The window once it stands still, kept under a name and compared with the picture that was approved."""
    name = "first_hour_%s_%s_%dx" % (station, state["theme"].lower(), program().scale)
    state[station] = harness.wait_until_approved(program(), options, name, except_for)
    return state[station]


def changed(what, before, at_least):
    program().wait_until_changed(what, before, at_least * program().scale**2)


def gone(what, before):
    program().wait_until_like(what, before, 3_000 * program().scale**2)


def the_sign_in_and_its_other_form():
    wait_for("the sign-in", lambda: harness.pixel(program().picture("now"), 5, 5) == (0, 0, 0))
    still("sign_in")
    program().click(FORM[0] + 274, FORM[1] + 292)
    changed("the other form", state["sign_in"], 500)
    program().type("ann@example.org")
    program().key("Tab")
    program().type("short")
    still("sign_up")
    program().click(FORM[0] + 24, FORM[1] + 26)


def the_note_about_statistics():
    state["program"].end()
    with open(sandbox.credentials) as file:
        user = json.load(file)
    start()
    wait_for("the sign-in", lambda: harness.pixel(program().picture("now"), 5, 5) == (0, 0, 0))
    harness.wait_until_still(program())
    program().type(user["email"])
    program().key("Tab")
    program().type(user["password"])
    program().key("Return")
    wait_for("signed in", lambda: user["email"] in program().title())
    still("note")
    program().key("Return")
    changed("the note has gone", state["note"], 20_000)


def the_welcome_window_and_an_object():
    still("welcome")
    program().click(MIDDLE[0] + 8 + 90, MIDDLE[1] + 8 + 188)
    changed("the tool's dialog is shown, the panels have gone", state["welcome"], 100_000)
    still("create")
    program().key("Return")
    changed("the object is drawn", state["create"], 10_000)
    program().key("Escape")
    still("object")


def a_step_file_and_its_change():
    part = sandbox.step_file("bracket.step", "part", os.path.join(state["home"], "models"))
    program().drop(part)
    wait_for("the title names the file", lambda: "part" in program().title())
    changed("the part is drawn", state["object"], 50_000)
    still("part")
    sandbox.step_file("drive.step", "part", os.path.dirname(part))
    changed("the notice is shown", state["part"], 3_000)
    still("changed")


def an_import_under_way():
    sandbox.backend.send_signal(signal.SIGSTOP)
    try:
        program().drop(sandbox.step_file("drive.step", "slow", state["home"]))
        changed("the progress is shown", state["changed"], 5_000)
        still("progress", [ELAPSED])
        program().key("Escape")
        gone("the progress has gone", state["changed"])
    finally:
        sandbox.backend.send_signal(signal.SIGCONT)


def the_service_is_away():
    sandbox.stop_backend()
    program().drop(sandbox.step_file("drive.step", "away", state["home"]))
    changed("the failure is told", state["changed"], 5_000)
    still("failure")
    sandbox.start_backend()
    program().key("Escape")
    gone("the message has gone", state["changed"])


def unsaved_work_is_asked_about():
    program().key("ctrl+q")
    changed("the question is asked", state["changed"], 5_000)
    still("unsaved")
    program().key("Escape")
    gone("the question has gone", state["changed"])


def with_copy(picture, to, of):
    """A picture with a rectangle (left, top, right, bottom) of itself copied to another place."""
    left, top, right, bottom = (value * program().scale for value in of)
    out = os.path.join(sandbox.folder, "planted.ppm")
    subprocess.run(["convert", picture, "(", "+clone", "-crop", "%dx%d+%d+%d" % (right - left, bottom - top, left, top), "+repage", ")",
                    "-geometry", "+%d+%d" % tuple(value * program().scale for value in to), "-composite", out], check=True)
    return out


def a_missing_button_and_a_moved_panel_are_noticed():
    dialog, notice = state["unsaved"], state["changed"]
    # The dialog's ground to the left of its buttons, over the one in the middle.
    missing = with_copy(dialog, (652, 424), (426, 424, 522, 453))
    assert not harness.is_like_approved(missing, dialog, program().scale)
    moved = with_copy(notice, (947, 581), (944, 581, 1264, 684))
    assert not harness.is_like_approved(moved, notice, program().scale)


def start():
    state["program"] = harness.Program(sandbox)


def begin(theme, scale):
    """The machine of another new user."""
    state["theme"] = theme
    state["home"] = os.path.join(sandbox.folder, "%s-%d" % (theme, scale))
    sandbox.environment["HOME"] = state["home"]
    sandbox.environment["XDG_CONFIG_HOME"] = os.path.join(state["home"], ".config")
    sandbox.settings = os.path.join(sandbox.environment["XDG_CONFIG_HOME"], "Orvanta")
    os.makedirs(sandbox.settings, mode=0o700)
    sandbox.set_settings(json.dumps({"colorTheme": theme}))
    state["display"] = harness.Display(sandbox, scale)
    start()


def end():
    for name in ("program", "display"):
        if name in state:
            state[name].process.kill()
            state[name].process.wait()
            del state[name]


def look(theme, scale):
    def walk():
        begin(theme, scale)
        for station in (the_sign_in_and_its_other_form, the_note_about_statistics, the_welcome_window_and_an_object,
                        a_step_file_and_its_change, an_import_under_way, the_service_is_away, unsaved_work_is_asked_about,
                        a_missing_button_and_a_moved_panel_are_noticed):
            print("  ", station.__name__.replace("_", " "), flush=True)
            station()
        end()
    walk.__name__ = "%s theme at scale %d" % (theme.lower(), scale)
    return walk


try:
    harness.run([look("Light", 1), look("Dark", 2), look("Light", 2)])
finally:
    end()
    sandbox.close()
