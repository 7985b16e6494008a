"""The program without a window: pictures, errors, help."""
import json
import os
import shutil
import ssl
import subprocess
import urllib.request
import uuid

import harness

options = harness.arguments()
sandbox = harness.Sandbox(options)


def program(*words, **more):
    environment = dict(sandbox.environment)
    environment.pop("DISPLAY", None)
    return subprocess.run([options.program, *words], env=environment, capture_output=True, text=True, timeout=60, **more)


def size_of(picture):
    return subprocess.run(["identify", "-format", "%wx%h %k", picture], check=True, capture_output=True, text=True).stdout.split()


def a_picture_of_a_step_file_is_drawn_without_a_display():
    picture = os.path.join(options.pictures, "bracket.png")
    result = program("-creds", sandbox.credentials, "--screenshot", picture, "--size", "900x600", sandbox.step_file("bracket.step", "one"))
    assert result.returncode == 0, result.stderr
    size, colours = size_of(picture)
    assert size == "900x600"
    assert int(colours) > 500, "the picture is nearly empty"


def several_files_are_drawn_together():
    picture = os.path.join(options.pictures, "several.png")
    result = program("-creds", sandbox.credentials, "--screenshot", picture, sandbox.step_file("bracket.step", "a"), sandbox.step_file("drive.step", "b"))
    assert result.returncode == 0, result.stderr


def a_file_that_cannot_be_opened_is_named_and_no_picture_written():
    picture = os.path.join(sandbox.folder, "none.png")
    result = program("-creds", sandbox.credentials, "--screenshot", picture, "/nowhere/part.step")
    assert result.returncode == 1
    assert "part.step" in result.stderr and "does not exist" in result.stderr, result.stderr
    assert not os.path.exists(picture)


def the_other_files_are_drawn_when_one_is_missing():
    picture = os.path.join(options.pictures, "one_of_two.png")
    result = program("-creds", sandbox.credentials, "--screenshot", picture, "/nowhere/part.stl", sandbox.step_file("bracket.step", "two"))
    assert result.returncode == 1
    assert "part.stl" in result.stderr and "does not exist" in result.stderr, result.stderr
    assert int(size_of(picture)[1]) > 500, "the picture is nearly empty"


def a_configuration_of_no_use_is_an_error_without_a_window_too():
    picture = os.path.join(sandbox.folder, "none.png")
    config = os.path.join(sandbox.folder, "config.json")
    for text in ("{", "[]", None):
        if text is None:
            os.remove(config)
        else:
            with open(config, "w") as file:
                file.write(text)
        result = program("--config", config, "--screenshot", picture)
        assert result.returncode == 1 and config in result.stderr, result.stderr
        assert not os.path.exists(picture)


def what_is_wrong_in_a_configuration_is_named():
    config = os.path.join(sandbox.folder, "config.json")
    with open(config, "w") as file:
        file.write('{"Fonst": {}, "UISettings": {"Theme": "Drak"}}')
    result = program("--config", config, "--screenshot", os.path.join(sandbox.folder, "empty.png"))
    assert result.returncode == 0, result.stderr
    assert '"Fonst" is not known' in result.stderr and 'no theme "Drak"' in result.stderr, result.stderr


def a_picture_of_another_kind_is_refused():
    picture = os.path.join(sandbox.folder, "a.jpg")
    result = program("--screenshot", picture)
    assert result.returncode != 0 and "does not end in .png" in result.stderr, result.stderr
    assert not os.path.exists(picture)


def a_picture_that_cannot_be_written_is_an_error():
    result = program("--screenshot", "/nowhere/a.png")
    assert result.returncode == 1 and "/nowhere/a.png" in result.stderr


def without_a_sign_in_the_service_refuses():
    result = program("--screenshot", os.path.join(sandbox.folder, "none.png"), sandbox.step_file("bracket.step", "nobody"))
    assert result.returncode == 1 and "Sign in to convert files" in result.stderr, result.stderr


def credentials_of_no_use_are_an_error():
    file = os.path.join(sandbox.folder, "bad.json")
    for text, reason in (("{", "Cannot sign in"), ("{}", "Credentials file is invalid"),
                         ('{"email": "a@b.c", "password": "x"}', "Incorrect username or password.")):
        with open(file, "w") as bad:
            bad.write(text)
        result = program("-creds", file, "--screenshot", os.path.join(sandbox.folder, "none.png"), sandbox.step_file("bracket.step", "bad"))
        assert result.returncode == 1 and reason in result.stderr, result.stderr


def the_last_credentials_count():
    bad = os.path.join(sandbox.folder, "first.json")
    with open(bad, "w") as file:
        file.write('{"email": "a@b.c", "password": "x"}')
    picture = os.path.join(sandbox.folder, "last.png")
    result = program("-creds", bad, "-creds", sandbox.credentials, "--screenshot", picture, sandbox.step_file("bracket.step", "last"))
    assert result.returncode == 0 and os.path.exists(picture), result.stderr


def credentials_of_no_use_fall_back_to_the_stored_sign_in():
    with open(sandbox.credentials) as file:
        user = json.load(file)
    body = json.dumps({"AuthFlow": "USER_PASSWORD_AUTH", "AuthParameters": {"USERNAME": user["email"], "PASSWORD": user["password"]}})
    request = urllib.request.Request("https://localhost:%s/auth" % options.port, body.encode(),
                                     {"x-amz-target": "AWSCognitoIdentityProviderService.InitiateAuth"})
    trusted = ssl.create_default_context(cafile=sandbox.environment["SSL_CERT_FILE"])
    with urllib.request.urlopen(request, context=trusted) as answer:
        refresh = json.load(answer)["AuthenticationResult"]["RefreshToken"]
    folder = os.path.join(sandbox.settings, "Token")
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, ".token"), "w") as file:
        json.dump({"login": user["email"], "token": refresh,
                   "endpoint": str(uuid.uuid5(uuid.NAMESPACE_DNS, user["email"].lower()))}, file)
    bad = os.path.join(sandbox.folder, "nobody.json")
    with open(bad, "w") as file:
        file.write('{"email": "nobody", "password": "x"}')
    picture = os.path.join(sandbox.folder, "stored.png")
    result = program("-creds", bad, "--screenshot", picture, sandbox.step_file("bracket.step", "stored"))
    assert result.returncode == 0 and "Credentials file: email is invalid" in result.stderr + result.stdout, result.stderr
    shutil.rmtree(folder)


def a_local_program_needs_no_service_and_opens_no_socket():
    sandbox.backend.terminate()
    sandbox.backend.wait()
    picture, trace = (os.path.join(sandbox.folder, name) for name in ("local.png", "trace"))
    words = ["--local", "--screenshot", picture, sandbox.step_file("bracket.step", "local")]
    result = program(*words)
    assert result.returncode == 0, result.stderr
    assert int(size_of(picture)[1]) > 500, "the picture is nearly empty"
    assert not os.path.exists(os.path.join(harness.WORKING_FOLDER, sandbox.prefix + "local.vxu")), "it is not the service's folder"
    if shutil.which("strace"):
        subprocess.run(["strace", "-f", "-e", "trace=socket", "-o", trace, options.program, *words],
                       env=sandbox.environment, check=True, timeout=60)
        with open(trace) as lines:
            assert not [line for line in lines if "AF_INET" in line], "a socket of the network was opened"
    result = program("--local", "--screenshot", picture, "/nowhere/part.step")
    assert result.returncode == 1 and "does not exist" in result.stderr, result.stderr


def the_service_being_down_is_an_error():
    sandbox.backend.terminate()
    sandbox.backend.wait()
    result = program("-creds", sandbox.credentials, "--screenshot", os.path.join(sandbox.folder, "down.png"), sandbox.step_file("bracket.step", "down"))
    assert result.returncode == 1 and "Cannot sign in: Bad internet connection." in result.stderr, result.stderr


def a_missing_display_is_an_error_with_a_reason():
    result = program()
    assert result.returncode == 1 and "display" in result.stderr.lower(), result.stderr


def help_and_version_are_printed():
    assert program("--version").stdout.startswith("Orvanta 0.")
    assert "--screenshot" in program("--help").stdout
    assert program("--nonsense").returncode != 0


try:
    harness.run([a_picture_of_a_step_file_is_drawn_without_a_display, several_files_are_drawn_together,
                 a_file_that_cannot_be_opened_is_named_and_no_picture_written, the_other_files_are_drawn_when_one_is_missing,
                 a_configuration_of_no_use_is_an_error_without_a_window_too, what_is_wrong_in_a_configuration_is_named,
                 a_picture_of_another_kind_is_refused, a_picture_that_cannot_be_written_is_an_error,
                 a_missing_display_is_an_error_with_a_reason, help_and_version_are_printed,
                 without_a_sign_in_the_service_refuses, credentials_of_no_use_are_an_error,
                 the_last_credentials_count, credentials_of_no_use_fall_back_to_the_stored_sign_in,
                 a_local_program_needs_no_service_and_opens_no_socket, the_service_being_down_is_an_error])
finally:
    sandbox.close()
