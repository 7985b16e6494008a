"""The welcome window and the statistics, in a real window against the real back end."""
import json
import os
import subprocess

import harness
from harness import wait_for

options = harness.arguments()
sandbox = harness.Sandbox(options)
sandbox.set_settings('{"telemetryDisclaimerModalShowed": 0}')
display = harness.Display(sandbox)
program = harness.Program(sandbox, "-creds", sandbox.credentials)
state = {}

# The middle of the free area at 1280x800: right of the scene list, below the ribbon.
MIDDLE = (766, 463)
# A point of the ribbon where no tool stands.
RIBBON = (1100, 100)


def settings():
    with open(os.path.join(sandbox.settings, "config.json")) as file:
        return json.load(file)


def statistics():
    return subprocess.run([options.backend, "stats", "--csv", "--data", sandbox.data], check=True, capture_output=True, text=True).stdout


def requests(service):
    metrics = subprocess.run(["curl", "-s", "http://127.0.0.1:%s/metrics" % sandbox.monitor_port], check=True,
                             capture_output=True, text=True).stdout
    return sum(int(line.split()[1]) for line in metrics.splitlines()
               if line.startswith('orvanta_requests_total{service="%s"' % service))


def is_signed_in():
    return "tester@example.org" in program.title()


def the_welcome_window_stands():
    wait_for("signed in", is_signed_in)
    state["welcome"] = harness.keep(harness.wait_until_still(program), options, "welcome")
    # A point of the left panel and one of the scene between the panels.
    panel, scene = harness.pixel(state["welcome"], MIDDLE[0] - 300, MIDDLE[1] + 200), harness.pixel(state["welcome"], MIDDLE[0], MIDDLE[1])
    assert panel != scene, (panel, scene)


def an_object_is_made_from_it_and_it_hides():
    program.click(MIDDLE[0] + 8 + 90, MIDDLE[1] + 8 + 188)
    program.wait_until_changed("the tool's dialog is shown, the panels have gone", state["welcome"], 100_000)
    dialog = harness.keep(harness.wait_until_still(program), options, "welcome_dialog")
    program.key("Return")
    program.wait_until_changed("the object is drawn", dialog, 10_000)
    program.key("Escape")
    harness.keep(harness.wait_until_still(program), options, "welcome_object")


def it_returns_when_the_object_is_deleted():
    program.key("ctrl+a")
    program.key("Delete")
    program.wait_until_like("the panels are back", state["welcome"], 6_000)


def unticked_it_stays_away_after_a_restart():
    program.click(MIDDLE[0] - 433 + 26, MIDDLE[1] + 238 + 24)
    wait_for("the choice is stored", lambda: settings().get("cShowWelcomeWindow") is False)
    program.close()
    report = statistics()
    for action in ('"Welcome Screen: ""Create Object"" Clicked"', "Welcome Screen Disabled", "Tool Activated: Create Simple Objects",
                   "Close Application", "Sign In"):
        assert "actions,%s,1\n" % action in report, report
    globals()["program"] = harness.Program(sandbox)
    wait_for("signed in", is_signed_in)
    harness.keep(harness.wait_until_still(program), options, "welcome_off")
    assert harness.difference(state["welcome"], program.picture("now")) > 100_000


def with_a_file_it_never_stands():
    program.close()
    sandbox.set_settings('{"telemetryDisclaimerModalShowed": 0}')
    globals()["program"] = harness.Program(sandbox, sandbox.step_file("bracket.step", "welcome"))
    seen = []

    def opened():
        now = program.picture("now")
        seen.append(harness.pixel(now, MIDDLE[0] - 300, MIDDLE[1] + 200) == harness.pixel(state["welcome"], MIDDLE[0] - 300, MIDDLE[1] + 200))
        return "welcome.step" in program.title()

    wait_for("the title names the file", opened)
    assert not any(seen), seen
    program.close()


def without_telemetry_the_service_hears_nothing():
    before = requests("statistics")
    assert before > 0
    globals()["program"] = harness.Program(sandbox, "-noTelemetry")
    wait_for("signed in", is_signed_in)
    harness.wait_until_still(program)
    before_theme = harness.keep(program.picture("now"), options, "before_theme")
    program.search("theme")
    program.wait_until_changed("the other theme", before_theme, 300_000)
    harness.wait_until_still(program)
    program.close()
    assert requests("statistics") == before


def a_configuration_reaches_the_window():
    """What is given with --config counts: a theme, and that there is no welcome window, with and without the service."""
    sandbox.set_settings('{"telemetryDisclaimerModalShowed": 0}')
    config = os.path.join(sandbox.folder, "own.json")
    with open(config, "w") as file:
        json.dump({"MenuLayout": {"drawWelcomeWindow": False}, "UISettings": {"Theme": "Light"}}, file)
    assert sum(harness.pixel(state["welcome"], *RIBBON)) < 300
    for more in ((), ("--local",)):
        globals()["program"] = harness.Program(sandbox, "--config", config, *more)
        if not more:
            wait_for("signed in", is_signed_in)
        now = harness.keep(harness.wait_until_still(program), options, "configured" + "".join(more))
        assert sum(harness.pixel(now, *RIBBON)) > 600, (more, harness.pixel(now, *RIBBON))
        # On either side of what would be the left edge of the panels; the scene is a little darker than they are.
        scene, panel = (harness.pixel(now, MIDDLE[0] - 433 + at, MIDDLE[1] + 200) for at in (-10, 10))
        assert all(abs(a - b) <= 3 for a, b in zip(scene, panel)), (more, scene, panel)
        program.close()


try:
    harness.run([the_welcome_window_stands, an_object_is_made_from_it_and_it_hides, it_returns_when_the_object_is_deleted,
                 unticked_it_stays_away_after_a_restart, with_a_file_it_never_stands, without_telemetry_the_service_hears_nothing,
                 a_configuration_reaches_the_window])
finally:
    program.process.kill()
    display.close()
    sandbox.close()
