"""An account's whole life in a real window, against the real identity service, by mouse and keyboard."""
import json
import os
import stat
import subprocess

import harness
from harness import wait_for

EMAIL = "ann@example.org"
PASSWORD = "secret-word-1"
NEW_PASSWORD = "other-word-2"

options = harness.arguments()
sandbox = harness.Sandbox(options)
sandbox.set_settings('{"cShowWelcomeWindow": false}')
display = harness.Display(sandbox)
program = harness.Program(sandbox)
other = None


secrets = [PASSWORD, NEW_PASSWORD]


def settings():
    with open(os.path.join(sandbox.settings, "config.json")) as file:
        return json.load(file)


def token():
    with open(os.path.join(sandbox.settings, "Token", ".token")) as file:
        return json.load(file)


def corner_is_black(picture):
    return harness.pixel(picture, 5, 5) == (0, 0, 0)


def restart():
    global program
    program.close()
    program = harness.Program(sandbox)


def is_signed_in():
    return EMAIL in program.title()


def the_sign_in_covers_the_viewer():
    picture = wait_for("the sign-in", lambda: (lambda now: now if corner_is_black(now) else None)(program.picture("now")))
    harness.keep(picture, options, "account_sign_in")


def a_new_account_is_asked_for():
    before = program.picture("before_link")
    program.click(420 + 274, 234 + 292)
    program.wait_until_changed("the other form", before, 500)
    program.type(EMAIL)
    program.key("Tab")
    program.type(PASSWORD)
    harness.keep(program.picture("now"), options, "account_sign_up")
    program.key("Return")


def its_code_confirms_it():
    code = sandbox.newest_code(1)
    secrets.append(code)
    form = harness.wait_until_still(program)
    harness.keep(form, options, "account_code")
    program.type(code)
    program.wait_until_changed("the code is in the field", form, 50)
    program.key("Return")
    program.wait_until_changed("the sign-in form", form, 2_000)


def the_user_signs_in():
    harness.wait_until_still(program)
    program.key("Return")
    wait_for("signed in", is_signed_in)
    assert token()["login"] == EMAIL and token()["token"]
    secrets.append(token()["token"])
    assert stat.S_IMODE(os.stat(sandbox.settings).st_mode) == 0o700


def the_note_about_statistics_is_answered():
    harness.keep(harness.wait_until_still(program), options, "account_note")
    assert "telemetryDisclaimerModalShowed" not in settings()
    program.key("Return")
    wait_for("the answer is stored", lambda: settings().get("telemetryDisclaimerModalShowed") == 0)
    assert settings()["allowSimpleTelemetry"] is True


def a_restart_signs_in_silently():
    restart()
    wait_for("signed in", is_signed_in)
    assert not corner_is_black(program.picture("now"))


def without_the_service_there_is_a_retry():
    program.close()
    sandbox.stop_backend()
    globals()["program"] = harness.Program(sandbox)
    wait_for("the retry screen", lambda: corner_is_black(program.picture("now")))
    picture = harness.keep(harness.wait_until_still(program), options, "account_retry")
    sandbox.start_backend()
    program.key("Return")
    wait_for("signed in", is_signed_in)
    program.wait_until_changed("the viewer is back", picture, 100_000)


def signing_out_forgets_the_token():
    program.search("signout")
    wait_for("signed out", lambda: not is_signed_in())
    assert token() == {"login": EMAIL, "token": "", "endpoint": ""}


def a_forgotten_password_is_replaced():
    form = harness.wait_until_still(program)
    program.click(420 + 380, 234 + 162)
    program.wait_until_changed("the other form", form, 500)
    form = harness.wait_until_still(program)
    program.key("Return")
    code = sandbox.newest_code(2)
    secrets.append(code)
    program.wait_until_changed("the form of the code", form, 2_000)
    form = harness.wait_until_still(program)
    program.type(code)
    program.key("Tab")
    program.type(NEW_PASSWORD)
    harness.keep(harness.wait_until_still(program), options, "account_new_password")
    program.key("Return")
    program.wait_until_changed("the sign-in form", form, 5_000)


def the_new_password_signs_in_and_the_old_one_does_not():
    harness.wait_until_still(program)
    program.key("ctrl+a")
    program.type(PASSWORD)
    form = harness.wait_until_still(program)
    program.key("Return")
    program.wait_until_changed("the refusal", form, 500)
    harness.keep(harness.wait_until_still(program), options, "account_refused")
    program.key("ctrl+a")
    program.type(NEW_PASSWORD)
    program.key("Return")
    wait_for("signed in", is_signed_in)


def a_step_file_from_the_command_line_waits_for_the_sign_in():
    program.search("signout")
    wait_for("signed out", lambda: not is_signed_in())
    program.process.kill()
    program.process.wait()
    globals()["program"] = harness.Program(sandbox, sandbox.step_file("bracket.step", "waiting"))
    wait_for("the sign-in", lambda: corner_is_black(program.picture("now")))
    harness.wait_until_still(program)
    program.type(NEW_PASSWORD)
    program.key("Return")
    wait_for("the title names the file", lambda: "waiting" in program.title())
    harness.keep(harness.wait_until_still(program), options, "account_part")


def two_programs_start_at_once_with_one_token():
    program.close()
    both = [subprocess.Popen([options.program, "--screenshot", os.path.join(sandbox.folder, "%d.png" % i),
                              sandbox.step_file("bracket.step", "twin%d" % i)], env=sandbox.environment) for i in range(2)]
    assert [one.wait(timeout=60) for one in both] == [0, 0]


def two_windows_start_at_once_with_one_token():
    global program, other
    assert token()["token"]
    program = harness.Program(sandbox)
    other = harness.Program(sandbox, another=True)
    wait_for("both are signed in", lambda: is_signed_in() and EMAIL in other.title())
    assert token()["token"], "neither takes the sign-in from the other"


def a_sign_out_leaves_the_other_window_signed_in():
    harness.wait_until_still(other)
    other.search("signout")
    wait_for("signed out", lambda: EMAIL not in other.title())
    assert token() == {"login": EMAIL, "token": "", "endpoint": ""}
    other.end()
    assert is_signed_in(), "until it ends itself"
    restart()
    wait_for("the sign-in", lambda: corner_is_black(program.picture("now")))
    assert not is_signed_in()


def no_log_holds_a_secret():
    text = sandbox.log()
    assert "Signed in." in text
    for secret in secrets:
        assert secret not in text, "a secret is in the log"


try:
    harness.run([the_sign_in_covers_the_viewer, a_new_account_is_asked_for, its_code_confirms_it, the_user_signs_in,
                 the_note_about_statistics_is_answered, a_restart_signs_in_silently, without_the_service_there_is_a_retry,
                 signing_out_forgets_the_token, a_forgotten_password_is_replaced,
                 the_new_password_signs_in_and_the_old_one_does_not,
                 a_step_file_from_the_command_line_waits_for_the_sign_in, two_programs_start_at_once_with_one_token,
                 two_windows_start_at_once_with_one_token, a_sign_out_leaves_the_other_window_signed_in,
                 no_log_holds_a_secret])
finally:
    program.process.kill()
    if other:
        other.process.kill()
    display.close()
    sandbox.close()
