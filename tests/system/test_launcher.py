"""The simulated access point itself. These tests run outside of one and start their own."""
import os
import pathlib
import signal
import subprocess
import time

from harness import BUILD_DIR, EASE_S, poll

REPO = pathlib.Path(__file__).resolve().parents[2]
LAUNCHER = [REPO / "simulator/simulated-ap", "--build", BUILD_DIR]


def run(*words, stdin=None):
    """Exit status, output and errors."""
    done = subprocess.run(words, input=stdin, capture_output=True, text=True, timeout=30)
    return done.returncode, done.stdout, done.stderr


def test_host_is_out_of_reach():
    unwritable = ["/etc", pathlib.Path.home(), REPO, BUILD_DIR, "/proc/sysrq-trigger"]
    text = f"""
        touch /tmp/inside-only
        for path in {" ".join(map(str, unwritable))}; do [[ -w $path ]] && echo writable $path; done
        for kind in mnt net pid ipc user; do readlink /proc/self/ns/$kind; done
        ls /proc | grep -cE '^[0-9]+$'
    """
    status, output, errors = run(*LAUNCHER, "--", "bash", "-c", text)
    assert status == 0 and "writable" not in output, output + errors
    *namespaces, processes = output.splitlines()
    outside = {os.readlink(f"/proc/self/ns/{it}") for it in ("mnt", "net", "pid", "ipc", "user")}
    assert len(namespaces) == 5 and not outside & set(namespaces)
    assert int(processes) < 12
    assert not pathlib.Path("/tmp/inside-only").exists()


# Options and command, exit status, a piece of the one line that says why.
ENDS = [
    ("-- bash -c 'exit 7'", 7, ""),
    ("-- bash -c 'kill -KILL $$'", 128 + signal.SIGKILL, ""),
    ("", 125, "no command given"),
    ("--frobnicate -- true", 125, "unknown argument --frobnicate"),
    ("--build /nonexistent -- true", 125, "wifi_manager_sim is missing"),
    ("--join 1", 125, "1 is no simulated access point"),
]


def test_exit_status():
    for arguments, status, said in ENDS:
        got = run("bash", "-c", f'"$0" "$@" {arguments}', *LAUNCHER)
        assert got[0] == status and said in got[2], (arguments, got)
        assert status != 125 or got[2].count("\n") == 1


def test_killed_launcher_leaves_nothing():
    """Nor does one access point see the files of another."""
    marker = f"marker-{os.getpid()}-{time.monotonic_ns()}"
    text = f"test ! -e /tmp/mine && echo $0 >/tmp/mine && sleep 600 & echo up; wait; : {marker}"
    pipe = {"stdout": subprocess.PIPE, "text": True}
    both = [
        subprocess.Popen([*LAUNCHER, "--", "bash", "-c", text, name], **pipe)
        for name in ("one", "two")
    ]
    assert [process.stdout.readline() for process in both] == ["up\n", "up\n"]

    def left():
        commands = pathlib.Path("/proc").glob("[0-9]*/cmdline")
        return run("grep", "-lF", marker, *commands)[1].count("cmdline") - 1  # but for grep itself

    assert left() > 1
    for process in both:
        process.kill()
        process.wait(5)
    poll(lambda: left() < 1, EASE_S, "the end of every process")
    assert [process.stdout.read() for process in both] == ["", ""]  # nobody holds the pipe


def test_shell_with_an_agent():
    """And a second terminal in the same access point."""
    pipes = {"stdin": subprocess.PIPE, "stdout": subprocess.PIPE, "stderr": subprocess.STDOUT}
    first = subprocess.Popen([*LAUNCHER, "--shell"], text=True, **pipes)
    joining = f"    simulator/simulated-ap --join {first.pid}\n"
    greeting = "".join(iter(first.stdout.readline, joining))
    assert "An agent runs; its log: /run/ap/qvagent.log\n" in greeting
    asked = "qvctl get radio-stats; echo $AP_MAC\n"
    _, output, _ = run(LAUNCHER[0], "--join", str(first.pid), stdin=asked)
    assert "wifi2" in output and "02:11:22:33:44:55\n" in output
    assert "wifi2" in first.communicate(asked, timeout=30)[0] and first.returncode == 0
