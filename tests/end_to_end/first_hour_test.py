"""The first hour of a new user: the installed program, an empty home, the back end as it comes, mouse and keyboard."""
import json
import os
import signal
import subprocess

import harness
from harness import wait_for

EMAIL, PASSWORD = "ann@example.org", "secret-word-1"
OTHER, OTHER_PASSWORD = "bob@example.org", "another-word-2"
# The middle of the free area at 1280x800: right of the scene list, below the ribbon.
MIDDLE = (766, 463)
# The upper left corner of the sign-in form.
FORM = (420, 234)

options = harness.arguments()
sandbox = harness.Sandbox(options, fresh=True)
# The names are in the pictures.
sandbox.prefix = "first-hour-"
display = harness.Display(sandbox)
state = {}


def install():
    """Uses the programs from an install tree, as a package brings them."""
    if not options.installed:
        prefix = os.path.join(sandbox.folder, "prefix")
        subprocess.run(["cmake", "--install", options.build, "--prefix", prefix], check=True, capture_output=True)
        options.program = os.path.join(prefix, "bin", "Orvanta")
    # What a desktop has: something that opens links.
    tools = os.path.join(sandbox.folder, "desktop")
    os.makedirs(tools)
    opener = os.path.join(tools, "xdg-open")
    with open(opener, "w") as script:
        script.write('#!/bin/sh\nprintf "%%s\\n" "$1" >> "%s"\n' % os.path.join(sandbox.folder, "links"))
    os.chmod(opener, 0o755)
    sandbox.environment["PATH"] = tools + ":" + sandbox.environment["PATH"]


def start(*files):
    state["program"] = harness.Program(sandbox, *files)


def program():
    process = state["program"].process
    assert process.poll() is None, "the program has ended with %s" % process.returncode
    return state["program"]


def settings():
    file = os.path.join(sandbox.settings, "config.json")
    if not os.path.exists(file):
        return {}
    with open(file) as text:
        return json.load(text)


def corner_is_black():
    return harness.pixel(program().picture("now"), 5, 5) == (0, 0, 0)


def still(name, except_for=()):
    """The window once it stands still, compared with the picture that was approved."""
    return harness.wait_until_approved(program(), options, "first_hour_" + name, except_for)


def mailed_code(mails):
    return sandbox.newest_code(mails)


def is_signed_in(email=EMAIL):
    return email in program().title()


def the_first_start_without_files_asks_to_sign_in():
    assert not os.listdir(sandbox.environment["HOME"])
    start()
    wait_for("the sign-in", corner_is_black)
    state["sign_in"] = still("sign_in")


def sign_up(email, password, mails):
    form = harness.wait_until_still(program())
    program().click(FORM[0] + 274, FORM[1] + 292)
    program().wait_until_changed("the other form", form, 500)
    if mails == 1:
        still("sign_up")
    else:
        # The address of the former user stands there, and the cursor behind it.
        harness.wait_until_still(program())
        program().key("shift+Tab")
        program().key("ctrl+a")
    program().type(email)
    program().key("Tab")
    program().key("ctrl+a")
    program().type(password)
    program().key("Return")
    code = mailed_code(mails)
    form = harness.wait_until_still(program())
    program().type(code)
    program().wait_until_changed("the code is in the field", form, 50)
    program().key("Return")
    program().wait_until_changed("the sign-in form", form, 2_000)
    harness.wait_until_still(program())
    program().key("Return")
    wait_for("signed in", lambda: is_signed_in(email))


def a_new_account_is_made_with_the_mailed_code():
    sign_up(EMAIL, PASSWORD, 1)


def the_note_about_statistics_stands_over_the_welcome_window():
    still("note")
    assert "telemetryDisclaimerModalShowed" not in settings()
    program().key("Return")
    wait_for("the answer is stored", lambda: settings().get("telemetryDisclaimerModalShowed") == 0)


def the_welcome_window_is_used():
    state["welcome"] = still("welcome")
    program().click(MIDDLE[0] + 8 + 90, MIDDLE[1] - 238 + 188)
    links = os.path.join(sandbox.folder, "links")
    wait_for("the browser is asked", lambda: os.path.exists(links))
    with open(links) as file:
        link = file.read().strip()
    assert link.endswith("/inappvideo/onboarding_first_session"), link
    program().click(MIDDLE[0] + 8 + 90, MIDDLE[1] + 8 + 188)
    program().wait_until_changed("the tool's dialog is shown, the panels have gone", state["welcome"], 100_000)
    dialog = still("create")
    program().key("Return")
    program().wait_until_changed("the object is drawn", dialog, 10_000)
    program().key("Escape")
    still("object")


def what_was_made_is_taken_back():
    program().key("ctrl+z")
    program().move(5, 795)
    program().wait_until_like("the welcome window is back", state["welcome"], 6_000)


def work_is_left_in_another_window():
    """On a screen of its own, so that nothing covers it."""
    first, screen = state["program"], sandbox.environment["DISPLAY"]
    state["other_display"] = harness.Display(sandbox)
    try:
        start()
        wait_for("signed in", is_signed_in)
        program().move(5, 795)
        program().wait_until_like("the welcome window stands", state["welcome"], 6_000)
        make_an_object()
        state["left"] = state["program"]
    finally:
        state["other_screen"], sandbox.environment["DISPLAY"] = sandbox.environment["DISPLAY"], screen
        state["program"] = first


def a_step_file_is_dropped():
    before = harness.wait_until_still(program())
    state["part"] = sandbox.step_file("bracket.step", "part", os.path.join(sandbox.folder, "one"))
    program().drop(state["part"])
    wait_for("the title names the file", lambda: "part" in program().title())
    program().wait_until_changed("the part is drawn", before, 50_000)
    state["bracket"] = still("part")


def another_file_of_that_name_is_another_model():
    other = sandbox.step_file("drive.step", "part", os.path.join(sandbox.folder, "two"))
    program().drop(other)
    program().wait_until_changed("the other part is drawn beside it", state["bracket"], 50_000)
    state["other"] = other
    still("two_parts")


def a_file_that_was_changed_is_offered_again():
    before = harness.wait_until_still(program())
    sandbox.step_file("bracket.step", "part", os.path.dirname(state["other"]))
    program().wait_until_changed("the notice is shown", before, 3_000)
    still("changed")


def the_service_goes_and_comes_back():
    sandbox.stop_backend()
    before = harness.wait_until_still(program())
    program().drop(sandbox.step_file("drive.step", "away"))
    program().wait_until_changed("the failure is told", before, 5_000)
    # A package looks for its service at another address than the approved picture tells.
    if not options.installed:
        still("failure")
    harness.wait_until_still(program())
    sandbox.start_backend()
    program().key("Escape")
    program().wait_until_like("the message has gone", before, 3_000)


def a_canceled_import_leaves_nothing():
    os.kill(sandbox.backend.pid, signal.SIGSTOP)
    try:
        before = harness.wait_until_still(program())
        program().drop(sandbox.step_file("drive.step", "canceled"))
        program().wait_until_changed("the progress is shown", before, 5_000)
        still("progress", [(446, 425, 560, 446)])
        program().key("Escape")
        program().wait_until_like("the progress has gone", before, 3_000)
    finally:
        os.kill(sandbox.backend.pid, signal.SIGCONT)
    assert not [name for name in os.listdir(harness.WORKING_FOLDER) if "canceled" in name and name.endswith(".vxu")]


def another_user_of_the_machine_signs_in():
    program().search("signout")
    wait_for("signed out", lambda: not is_signed_in())
    sign_up(OTHER, OTHER_PASSWORD, 2)


def a_second_program_starts_beside_the_first():
    first = state["program"]
    second = harness.Program(sandbox, another=True)
    assert first.process.poll() is None and second.process.poll() is None
    second.end()
    # Without a window manager nobody gives the keyboard back.
    first.xdotool("windowfocus", "--sync", first.window)


def make_an_object():
    before = harness.wait_until_still(program())
    program().search("createobject")
    program().wait_until_changed("the tool's dialog is shown", before, 5_000)
    harness.wait_until_still(program())
    program().key("Return")
    wait_for("the title tells of it", lambda: program().title().startswith("*"))
    program().key("Escape")
    harness.wait_until_still(program())


def unsaved_work_is_asked_about():
    make_an_object()
    before = harness.wait_until_still(program())
    program().key("ctrl+q")
    program().wait_until_changed("the question is asked", before, 5_000)
    still("unsaved")
    program().key("Escape")
    program().wait_until_like("the question has gone", before, 3_000)


def unsaved_work_is_offered_after_a_crash():
    # The other program goes on, and its work is its own.
    kept = os.path.join(sandbox.environment["HOME"], ".local", "state", "Orvanta", "recovery")
    wait_for("the work is kept", lambda: any(
        name.endswith(".vxu") for _, _, names in os.walk(kept) for name in names), seconds=180)
    program().close()
    state["left"].end()
    sandbox.environment["DISPLAY"] = state["other_screen"]
    start()
    wait_for("signed in", lambda: is_signed_in(OTHER))
    # The time in its text is another one in each run.
    offered = still("recovery", [(424, 395, 856, 410)])
    program().key("Return")
    program().wait_until_changed("the work is back", offered, 20_000)
    wait_for("it is still unsaved", lambda: program().title().startswith("*"))


def what_is_discarded_does_not_come_back():
    process = program().process
    program().close()
    assert process.returncode == 0
    start()
    wait_for("signed in", lambda: is_signed_in(OTHER))
    program().move(5, 795)
    program().wait_until_like("the welcome window stands", state["welcome"], 6_000)


def nothing_was_asserted():
    state["program"].end()
    with open(os.path.join(sandbox.folder, "programs.log")) as file:
        text = file.read()
    for word in ("Assertion", "Sanitizer", "terminate called", "Segmentation"):
        assert word not in text, text[-2000:]


install()
try:
    harness.run([the_first_start_without_files_asks_to_sign_in, a_new_account_is_made_with_the_mailed_code,
                 the_note_about_statistics_stands_over_the_welcome_window, the_welcome_window_is_used,
                 what_was_made_is_taken_back, work_is_left_in_another_window, a_step_file_is_dropped,
                 another_file_of_that_name_is_another_model, a_file_that_was_changed_is_offered_again, the_service_goes_and_comes_back,
                 a_canceled_import_leaves_nothing, another_user_of_the_machine_signs_in,
                 a_second_program_starts_beside_the_first, unsaved_work_is_asked_about,
                 unsaved_work_is_offered_after_a_crash, what_is_discarded_does_not_come_back, nothing_was_asserted])
finally:
    for name in ("program", "left"):
        if name in state:
            state[name].process.kill()
    display.close()
    if "other_display" in state:
        state["other_display"].close()
    sandbox.close()
