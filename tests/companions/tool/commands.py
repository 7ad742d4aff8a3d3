"""The cases of the subcommands besides the doctor. Each gets a machine, and a function that runs a server."""
import json
import os
import pathlib
import re
import shlex
import subprocess

import endings
import endpoints

ESCAPE = "\x1b"
REPOSITORY = pathlib.Path(__file__).resolve().parents[3]


def expect(done, code, *parts):
    """Exit code, and parts of what was printed; errors are on standard error only."""
    shown = done.stdout if code == 0 else done.stderr
    assert done.returncode == code, f"exit code {done.returncode}: {done.stdout}{done.stderr}"
    for part in parts:
        assert part in shown, f"no '{part}' in: {shown}"
    assert code == 0 or not done.stdout, f"on standard output: {done.stdout}"
    assert ESCAPE not in done.stdout + done.stderr, "colour outside of a terminal"


def same(got, wanted):
    assert got == wanted, f"{got!r} instead of {wanted!r}"


def version(machine, _):
    done = machine.run("--version")
    expect(done, 0)
    assert re.fullmatch(r"ferrolink \d+\.\d+\.\d+\n", done.stdout), done.stdout


def wrong_usage(machine, _):
    expect(machine.run(), 2, "--help")
    expect(machine.run("doctor", "--nonsense"), 2, "--nonsense", "--help")


def not_possible(machine, _):
    expect(machine.run("doctor", "--connect", "http://a:1"), 2, "tcp://host:port")


def explain_code(machine, _):
    expect(machine.run("explain", "JVM Launcher 016"), 0, "JVM Launcher: Exception code 016", "JNI_EINVAL",
           "Remove or correct the option", "no: no command was executed; the process ends", "jvm/JvmInstance.cpp")
    expect(machine.run("explain", "network-client-011"), 0, "Network Client: Exception code 011", "yes:",
           "companions/tcp/client/ClientChannel.cpp")
    expect(machine.run("explain", "17"), 0, "JVM Launcher: Exception code 017", "Cpp Launcher: Exception code 017")


def explain_text(machine, _):
    expect(machine.run("explain", "what(): JVM Launcher: Exception code 001. \nSet JAVA_HOME environment variable"), 0,
           "JVM Launcher: Exception code 001", "executed  no")
    assert "`" not in machine.run("explain", "JVM Launcher 001").stdout, "Markdown"
    expect(machine.run("explain", "jni_enomem"), 0, "Exception code 014")
    expect(machine.run("explain", "no", "such", "words", "xyzzy"), 1, "No error is known",
           "the page symptoms.md of the documentation", "ferrolink doctor")


def explain_text_without_a_code(machine, _):
    """Pasted whole, or in parts. A text that has a code as well is explained by the code."""
    expect(machine.run("explain", "Unknown handler 'word-cuont'. Known handlers: digest, echo."), 0,
           "Unknown handler '<name>'", "Load the archive", "executed  no:")
    same(machine.run("explain", "Unknown handler 'x'").stdout.count("meaning"), 0)  # the heading says it
    same(machine.run("explain", "JVM Launcher 001").stdout.count("meaning"), 1)
    expect(machine.run("explain", "what():  Message byte array length is less than 11"), 0, "11 bytes")
    expect(machine.run("explain", "SendCommand function not found in Utils library"), 0, "Reinstall")
    expect(machine.run("explain", "JSON text: /loggingLevel: unknown key; allowed are x"), 0, "page configuration.md")
    expect(machine.run("explain", "unknown", "handler"), 0, "Unknown handler")
    done = machine.run("explain", "JVM Launcher: Exception code 018. std::bad_alloc")
    expect(done, 0, "Exception code 018")


def on_a_terminal(machine, **variables):
    """What explain prints to a terminal."""
    ours, terminal = os.openpty()
    subprocess.run([machine.build / "bin/ferrolink", "explain", "JVM Launcher 001"], stdout=terminal, check=True,
                   env={**machine.variables, "TERM": "xterm", **variables})
    os.close(terminal)
    shown = os.read(ours, 65536).decode()
    os.close(ours)
    return shown


def colour_on_a_terminal_only(machine, _):
    assert on_a_terminal(machine).startswith(ESCAPE), "no colour on a terminal"
    for variables in ({"NO_COLOR": "1"}, {"TERM": "dumb"}):
        assert ESCAPE not in on_a_terminal(machine, **variables), f"colour with {variables}"


def explain_without_anything(machine, _):
    machine.variables = {"FERROLINK_HOME": "/nowhere"}
    expect(machine.run("explain", "JVM Launcher 001"), 0, "Exception code 001")


def info(machine, _):
    secret = "-Dstore.password=marker"
    machine.variables["JAVA_TOOL_OPTIONS"] = f"-Xmx200m {secret}"
    done = machine.run("info", "--json")
    expect(done, 0)
    facts = json.loads(done.stdout)
    same(facts["java"]["because"], "JAVA_HOME")
    same(facts["java"]["path"], machine.java)
    same(os.path.realpath(facts["run"]["library"]), os.path.realpath(machine.java + "/lib/server/libjvm.so"))
    same(facts["run"]["heapLimitMiB"], 200)
    same(facts["run"]["handlers"], ["digest", "echo", "load-archives", "objects"])
    same({file["version"] for file in facts["installation"]["files"]}, {facts["version"]})
    same([len(file["buildId"]) for file in facts["installation"]["files"]], [40] * 6 + [0])
    expect(machine.run("info"), 0, "Java that would run", "JAVA_HOME", "echo")
    assert "marker" not in done.stdout + machine.run("info").stdout, "a secret is shown"


def info_shows_the_logging_level_that_counts(machine, _):
    """The variable wins over the configuration if it is one of the words, as in the library."""
    machine.variables["JAVA_HOME"] = "/nowhere"
    for variable, shown in ((None, "all"), ("off", "off"), ("RuntimeInfo", "runtimeinfo"), ("loud", "all"), ("", "all")):
        machine.variables.pop("FERROLINK_LOGGING_LEVEL", None)
        if variable is not None:
            machine.variables["FERROLINK_LOGGING_LEVEL"] = variable
        done = machine.run("info", "--json", "--config", '{"loggingLevel": "all"}')
        same((variable, json.loads(done.stdout)["loggingLevel"]), (variable, shown))


def java_is_found(machine, _):
    """Without a variable: that of the first java on PATH, then the newest of the directory."""
    del machine.variables["JAVA_HOME"]
    machine.variables["FERROLINK_JAVA_DIRECTORY"] = "/nowhere"
    machine.variables["PATH"] = f"{machine.place}/bin:/nowhere"
    (machine.place / "bin").mkdir()
    (machine.place / "bin/java").symlink_to(machine.java + "/bin/java")
    same(json.loads(machine.run("info", "--json").stdout)["java"]["because"], "java on PATH")
    same(machine.run("call", "echo", "found").stdout, "found")
    (machine.place / "bin/java").unlink()
    homes = machine.place / "homes"
    for name, release in (("z-old", "9.0.4"), ("a-new", "21.0.1"), ("m-other", "11.0.2"), ("y-older", "1.8.0_402")):
        (homes / name / "lib/server").mkdir(parents=True)
        (homes / name / "release").write_text(f'IMPLEMENTOR="A"\nJAVA_VERSION="{release}"\n')
        # A JRE is enough: only the library counts. Not a link to the whole home, whose name would be resolved.
        (homes / name / "lib/server/libjvm.so").symlink_to(machine.java + "/lib/server/libjvm.so")
    machine.variables["FERROLINK_JAVA_DIRECTORY"] = str(homes)
    facts = json.loads(machine.run("info", "--json").stdout)["java"]
    same((facts["because"], facts["path"], facts["version"]), (str(homes), str(homes / "a-new"), "21.0.1"))


def call(machine, _):
    same(machine.run("call", "echo", "hello").stdout, "hello")
    same(machine.run("call", "echo", text=False, stdin=b"\0\xff\n").stdout, b"\0\xff\n")
    expect(machine.run("call", "no-such", "x"), 1, "Unknown handler 'no-such'", "echo")


def call_a_plug_in(machine, _):
    plug_in = os.environ["TOOL_TEST_PLUG_IN"]
    same(machine.run("call", "--runtime", "cpp", "--plug-in", plug_in, "plug-in upper", "abc").stdout, "ABC")


def call_without_a_jvm(machine, _):
    """The exit code is 1, the text says what to do, and nothing stays, whoever ends the process."""
    machine.variables["TMPDIR"] = str(machine.place)
    before = sorted(machine.place.rglob("*"))
    for variable, value, *parts in (
            ("JAVA_TOOL_OPTIONS", "-XX:+NoSuch", "NoSuch", "signal 6", "JVM Launcher: Exception code 016",
             "What to do: Remove or correct the option", "ferrolink explain 'JVM Launcher 016'"),
            ("JAVA_TOOL_OPTIONS", "-agentlib:nosuch", "nosuch", "exit code 1", "ferrolink doctor"),
            ("JAVA_HOME", "/nowhere", "JVM Launcher: Exception code 002", "What to do: Name a Java home")):
        for arguments in (("call", "echo", "x"), ("bench",)):
            kept = dict(machine.variables)
            machine.variables[variable] = value
            expect(machine.run(*arguments), 1, *parts)
            machine.variables = kept
            same(sorted(machine.place.rglob("*")), before)


def call_a_server(machine, server):
    with server("--plug-in", os.environ["TOOL_TEST_PLUG_IN"]) as port:
        for host in ("127.0.0.1", "localhost"):
            done = machine.run("call", "--runtime", "cpp", "--at", f"tcp://{host}:{port}", "plug-in upper", "abc")
            same((done.stdout, done.stderr), ("ABC", ""))
    expect(machine.run("call", "--runtime", "cpp", "--at", f"tcp://127.0.0.1:{port}", "plug-in upper", "abc"), 1,
           "Network Client: Exception code 001", "What to do: Start the server", "ferrolink explain")


def call_a_server_with_configuration(machine, server):
    """The endpoint that connects to the named server has the settings; a name may be one of the configuration only."""
    certificate, key = machine.place / "server.pem", machine.place / "server.key"
    endpoints.make_certificate(certificate, key, "DNS:orders.example", 90)
    file = machine.place / "program.json"
    tls = ["--tls-certificate", certificate, "--tls-key", key]
    with server("--plug-in", os.environ["TOOL_TEST_PLUG_IN"], *tls) as port:
        arguments = lambda at: ["call", "--runtime", "cpp", "--at", f"tls://{at}", "--config", str(file),
                                "plug-in upper", "abc"]
        both = [f"localhost:{port}", f"127.0.0.1:{port}"]
        endpoint = {"connect": both, "authorities": "server.pem", "callTimeoutMs": 60000}
        for name, expected in (("orders.example", (0, "ABC", "")), ("other.example", (1, "", "hostname mismatch"))):
            file.write_text(json.dumps({"endpoints": {"10.0.0.1:1": {**endpoint, "name": name}}}))
            for at in both:
                done = machine.run(*arguments(at))
                same((at, done.returncode, done.stdout), (at, *expected[:2]))
                assert expected[2] in done.stderr, done.stderr
        # The endpoint that has the address as its key comes first, and may connect elsewhere.
        file.write_text(json.dumps({"endpoints": {"127.0.0.1:1": {**endpoint, "name": "orders.example"}}}))
        same(machine.run(*arguments("127.0.0.1:1")).stdout, "ABC")
        file.write_text('{"endpoints": {"10.0.0.1:1": {"poolSize": -1}}}')
        expect(machine.run(*arguments(both[0])), 1, "program.json: /endpoints/10.0.0.1:1/poolSize: expected an integer 0 to")


def run(machine, _):
    done = machine.run("run", "--jvm-option", "-Xmx100m", "--jvm-option=-Da=b c", "--host-signals", "--", "env")
    expect(done, 0, '\nJAVA_TOOL_OPTIONS=-Xmx100m "-Da=b c" -Xrs\n', f"FERROLINK_HOME={machine.build}")
    tool = str(machine.build / "bin/ferrolink")
    done = machine.run("run", "--jvm-option", "-Xmx100m", "--", tool, "info", "--json")
    same(json.loads(done.stdout)["run"]["heapLimitMiB"], 100)
    expect(machine.run("run", "--", "/nowhere/program"), 1, "Cannot run /nowhere/program")
    expect(machine.run("run", "--class-path", "/nowhere.jar", "--", "env"), 1, "/nowhere.jar")


def run_replaces_empty_variables(machine, _):
    machine.variables.update(FERROLINK_HOME="", JAVA_HOME="", FERROLINK_JVM_RUNTIME_PATH="",
                             PATH=f"{machine.java}/bin:{machine.variables['PATH']}")
    expect(machine.run("run", "--", "env"), 0, f"FERROLINK_HOME={machine.build}\n",
           f"FERROLINK_JVM_RUNTIME_PATH={os.path.realpath(machine.java)}\n")


def run_with_class_path(machine, _):
    handlers = os.environ["TOOL_TEST_HANDLERS"]
    tool = str(machine.build / "bin/ferrolink")
    same(machine.run("run", "--class-path", handlers, "--", tool, "call", "word-count", "one two").stdout,
         "lines: 1, words: 2, bytes: 7")


def run_with_opened_jvm(machine, _):
    """The JVM that is opened first is the one that runs."""
    tool = str(machine.build / "bin/ferrolink")
    done = machine.run("run", "--preopen-jvm", "--", tool, "info", "--json")
    expect(done, 0)
    facts = json.loads(done.stdout)
    library = machine.java + "/lib/server/libjvm.so"
    same(facts["variables"]["LD_PRELOAD"], library)
    same(os.path.realpath(facts["run"]["library"]), os.path.realpath(library))


def bench(machine, _):
    """One line says what the ratios are; each is to the same call by hand, of the same size."""
    heading, *lines = machine.run("bench").stdout.splitlines()
    same(heading, "Times the same call by hand in JNI, on a thread that Java knows:")
    same([re.fullmatch(r"(\S.*\S) +\d+\.\d\d", line)[1] for line in lines],
         ["Host::CallInto, 64 bytes", "Host::CallInto, 64 KiB", "a typed call, Math.max",
          "64 bytes on a thread that Java does not know"])


def doctor_as_text(machine, _):
    done = machine.run("doctor")
    wanted = rf"Nothing is wrong. Java [\d.]+\S* of {re.escape(machine.java)} starts and answers, named by JAVA_HOME.\n"
    assert done.returncode == 0 and re.fullmatch(wanted, done.stdout.replace("\n", " ").rstrip() + "\n"), done.stdout
    same(machine.run("doctor", "--no-start").stdout, "Nothing is wrong. No JVM was started for trial.\n")
    machine.variables.update(JDK_JAVA_OPTIONS="-Da.token=marker", FERROLINK_DEBUG_MODE="true",
                             JAVA_TOOL_OPTIONS="-XX:+NoSuch")
    done = machine.run("doctor")
    same(done.returncode, 1)
    assert "evidence  JDK_JAVA_OPTIONS = -Da.token=***" in done.stdout, done.stdout
    assert "start-failed" in done.stdout and "contact support" not in done.stdout, done.stdout
    same([line for line in done.stdout.splitlines() if len(line) > 96 and line.count(" ") > 3], [])
    assert not {ESCAPE, "`"} & set(done.stdout), "colour or Markdown outside of a terminal"


def doctor_says_which_java(machine, _):
    """Hosts without the C++ helpers do not search."""
    facts = json.loads(machine.run("doctor", "--json").stdout)
    same((facts["javaHome"], facts["javaFoundBy"], facts["note"]), (machine.java, "JAVA_HOME", ""))
    del machine.variables["JAVA_HOME"]
    machine.variables.update(PATH=f"{machine.place}/bin", FERROLINK_JAVA_DIRECTORY="/nowhere")
    (machine.place / "bin").mkdir()
    (machine.place / "bin/java").symlink_to(machine.java + "/bin/java")
    facts = json.loads(machine.run("doctor", "--json").stdout)
    same((facts["findings"], facts["javaHome"], facts["javaFoundBy"]), ([], machine.java, "java on PATH"))
    note = f"Hosts that do not use the C++ helpers need JAVA_HOME={machine.java}."
    same(facts["note"], note)
    text = " ".join(machine.run("doctor").stdout.split())
    assert f"of {machine.java} starts and answers, found by java on PATH. {note}" in text, text


def doctor_leaves_nothing(machine, _):
    machine.variables["JAVA_TOOL_OPTIONS"] = "-XX:+NoSuch"
    machine.variables["TMPDIR"] = str(machine.place)
    before = sorted(machine.place.rglob("*"))
    same(machine.run("doctor").returncode, 1)
    same(sorted(machine.place.rglob("*")), before)


def manual_lists_all_options(machine, _):
    """The part of the manual that comes from the program has its subcommands, and the options of each."""
    made = subprocess.run(["sh", REPOSITORY / "packaging/man/subcommands.sh", machine.build / "bin/ferrolink"],
                          env=machine.variables, text=True, capture_output=True, check=True).stdout
    sections = dict(re.findall(r"^\.SS ferrolink (\w+)\n((?:(?!\.SS).*\n)*)", made, re.M))
    same(list(sections), ["doctor", "info", "explain", "run", "call", "serve", "bench"])
    for command, section in sections.items():
        listed = re.findall(r"^ +(?:-\w,)?--([a-z][a-z-]*)", machine.run(command, "--help").stdout, re.M)
        written = re.findall(r"^\.B \\-\\-([a-z\\-]*)", section, re.M)
        same((command, [name.replace("\\", "") for name in written]),
             (command, [] if command == "serve" else [name for name in listed if name != "help"]))
    assert "\n.B \\-\\-timeout\\-ms UINT\ngive up after that time\n" in sections["call"], sections["call"]


def completion(machine, _):
    """What bash offers for a line whose last word is not finished."""
    def offered(*words):
        line = " ".join(shlex.quote(word) for word in words)
        script = (f". {shlex.quote(str(REPOSITORY / 'packaging/completion.bash'))}; COMP_WORDS=({line}); "
                  f"COMP_CWORD={len(words) - 1}; _ferrolink; printf '%s\\n' \"${{COMPREPLY[@]}}\"")
        return subprocess.run(["bash", "-c", script], env=machine.variables, cwd=machine.current, text=True,
                              capture_output=True, check=True).stdout.split()
    tool = str(machine.build / "bin/ferrolink")
    same(offered(tool, "call", "--runtime", ""), ["jvm", "cpp"])
    same(offered(tool, "call", "--runtime", "c"), ["cpp"])
    same(offered(tool, "inf"), ["info"])
    for command, options in (("call", ["--at", "--runtime", "--class-path", "--plug-in", "--config", "--timeout-ms",
                                       "--verbose"]),
                             ("info", ["--json", "--config", "--class-path"]),
                             ("run", ["--jvm-option", "--host-signals", "--preopen-jvm", "--class-path"])):
        same(offered(tool, command, "--"), ["--help", *options])
    same(offered(tool, "serve", "--runtime", ""), ["jvm", "cpp"])


CASES = {case.__name__: case for case in (
    version, wrong_usage, not_possible, explain_code, explain_text, explain_text_without_a_code,
    colour_on_a_terminal_only, explain_without_anything, info, info_shows_the_logging_level_that_counts, java_is_found,
    call, call_a_plug_in, call_without_a_jvm, *endings.CASES, call_a_server, call_a_server_with_configuration, run,
    run_replaces_empty_variables, run_with_class_path, run_with_opened_jvm, bench, doctor_as_text,
    doctor_says_which_java, doctor_leaves_nothing, manual_lists_all_options, completion)}
