"""The real program in a real window, driven by mouse and keyboard, against the real back end."""
import os
import signal

import harness
from harness import wait_for

options = harness.arguments()
sandbox = harness.Sandbox(options)
sandbox.set_settings('{"telemetryDisclaimerModalShowed": 0, "cShowWelcomeWindow": false}')
display = harness.Display(sandbox)
program = harness.Program(sandbox, "-creds", sandbox.credentials)
wait_for("the title names the user", lambda: "tester@example.org" in program.title())
start = program.picture("start")
state = {}


def the_window_stands_and_invites_a_drop():
    assert program.title().startswith("Orvanta "), program.title()


def a_dropped_step_file_is_converted_and_shown():
    program.drop(sandbox.step_file("bracket.step", "dropped"))
    wait_for("the title names the file", lambda: "dropped" in program.title())
    state["bracket"] = harness.keep(program.wait_until_changed("the part is drawn", start, 100_000), options, "dropped")


def dragging_with_the_mouse_turns_it():
    program.drag(1, (700, 400), (860, 460))
    state["turned"] = harness.keep(program.wait_until_changed("the view turns", state["bracket"], 30_000), options, "turned")


def the_wheel_zooms():
    program.move(760, 420)
    program.xdotool("click", "--repeat", 3, 4)
    program.wait_until_changed("the view zooms", state["turned"], 30_000)


def a_file_is_opened_by_the_dialog_and_the_keyboard():
    sandbox.step_file("drive.step", "browsed", sandbox.environment["HOME"])
    before = program.picture("before_dialog")
    program.key("ctrl+o")
    harness.keep(program.wait_until_changed("the dialog opens", before, 100_000), options, "dialog")
    program.key("Down")
    program.key("Return")
    wait_for("the title names the file", lambda: "browsed" in program.title())
    harness.keep(program.wait_until_changed("both files are drawn", before, 50_000), options, "browsed")


def tabs_are_chosen_by_the_mouse():
    before = program.picture("home_tab")
    program.move(98, 20)
    program.xdotool("click", 1)
    harness.keep(program.wait_until_changed("the other tab's tools are shown", before, 3_000), options, "view_tab")


def tools_are_found_by_their_letters():
    before = program.picture("before_search")
    program.search("wire")
    harness.keep(program.wait_until_changed("the triangles' sides are drawn", before, 20_000), options, "wireframe")
    program.search("wire")
    program.wait_until_like("the surfaces are back", before, 3_000)


def settings_and_the_toolbars_dialog_open_and_close_by_keyboard():
    before = program.picture("before_settings")
    program.key("ctrl+comma")
    harness.keep(program.wait_until_changed("the settings are shown", before, 20_000), options, "settings")
    program.key("Escape")
    program.wait_until_like("the settings have gone", before, 3_000)
    program.search("toolb")
    harness.keep(program.wait_until_changed("the dialog is shown", before, 100_000), options, "customize")
    program.key("Escape")
    program.wait_until_like("the dialog has gone", before, 3_000)


def the_theme_is_switched_while_running():
    before = program.picture("before_theme")
    program.search("theme")
    harness.keep(program.wait_until_changed("the light theme is shown", before, 400_000), options, "light")
    program.search("theme")
    program.wait_until_like("the dark theme is back", before, 3_000)


def a_deletion_is_taken_back_and_done_again_by_keyboard():
    before = harness.wait_until_still(program)
    program.key("ctrl+a")
    # What is selected looks as different from before as what has gone: each change is waited for by itself.
    selected = program.wait_until_changed("the parts are selected", before, 30_000)
    program.key("Delete")
    program.wait_until_changed("the parts have gone", selected, 30_000)
    gone = harness.keep(harness.wait_until_still(program), options, "deleted")
    program.key("ctrl+z")
    program.wait_until_changed("the parts are back", gone, 30_000)
    program.key("ctrl+shift+z")
    program.wait_until_like("the parts have gone again", gone, 3_000)
    program.key("ctrl+z")
    program.wait_until_changed("the parts are back again", gone, 30_000)
    program.key("Escape")
    program.wait_until_like("all is as before", before, 3_000)


def an_import_is_canceled():
    before = program.picture("before_import")
    # A service that has stopped answering makes an import that never ends by itself.
    sandbox.backend.send_signal(signal.SIGSTOP)
    program.drop(sandbox.step_file("bracket.step", "canceled"))
    harness.keep(program.wait_until_changed("the progress is shown", before, 100_000), options, "progress")
    program.key("Escape")
    program.wait_until_like("the progress has gone, and no error is shown", before, 2_000)
    sandbox.backend.send_signal(signal.SIGCONT)
    assert "canceled" not in program.title()


def an_error_is_shown_and_confirmed():
    before = program.picture("before_error")
    file = os.path.join(sandbox.folder, sandbox.prefix + "letter.step")
    with open(file, "w") as letter:
        letter.write("Dear reader, this is not a part")
    program.drop(file)
    harness.keep(program.wait_until_changed("the error is shown", before, 100_000), options, "error")
    # The progress looks much like it for a moment, so the dialog is confirmed until it has gone.
    wait_for("the error is confirmed", lambda: (program.key("Return"), harness.difference(before, program.picture("now")) < 2_000)[1])


def the_window_closes_by_keyboard_in_the_middle_of_an_import():
    sandbox.backend.send_signal(signal.SIGSTOP)
    program.drop(sandbox.step_file("bracket.step", "closing"))
    program.key("Escape")
    program.key("ctrl+q")
    assert program.process.wait(timeout=20) == 0


try:
    harness.run([the_window_stands_and_invites_a_drop, a_dropped_step_file_is_converted_and_shown, dragging_with_the_mouse_turns_it,
                 the_wheel_zooms, a_file_is_opened_by_the_dialog_and_the_keyboard,
                 tabs_are_chosen_by_the_mouse, tools_are_found_by_their_letters,
                 settings_and_the_toolbars_dialog_open_and_close_by_keyboard, the_theme_is_switched_while_running,
                 a_deletion_is_taken_back_and_done_again_by_keyboard, an_import_is_canceled, an_error_is_shown_and_confirmed, the_window_closes_by_keyboard_in_the_middle_of_an_import])
finally:
    program.process.kill()
    display.close()
    sandbox.close()
