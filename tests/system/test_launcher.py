"""The simulated access point itself. These tests run outside of one and start their own."""
import os
import pathlib
import pty
import shutil
import signal
import subprocess
import time

import pytest
from harness import poll

REPO = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("QV_BUILD_DIR", REPO / "build"))
LAUNCHER = REPO / "simulator/simulated-ap"


def start(*command, options=(), **more):
    return subprocess.Popen(
        [str(LAUNCHER), "--build", str(BUILD), *options, "--", *command],
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        **more,
    )


def run(*command, **more):
    """Exit status and output."""
    process = start(*command, **more)
    try:
        output, _ = process.communicate(timeout=30)
    finally:
        process.kill()
    return process.returncode, output


def script(text, **more):
    """The output of a script that must succeed."""
    status, output = run("bash", "-c", text, **more)
    assert status == 0, output
    return output


def start_script(text, *arguments, **more):
    """A script that has come to its `echo up`."""
    process = start("bash", "-c", text, *arguments, **more)
    assert process.stdout.readline() == "up\n"
    return process


def processes_with(marker):
    """Running processes that carry a marker in their command line."""
    found = []
    for entry in pathlib.Path("/proc").glob("[0-9]*/cmdline"):
        try:
            if marker.encode() in entry.read_bytes():
                found.append(entry.parent.name)
        except OSError:
            pass
    return found


def test_device_is_set_up():
    output = script(
        """
        set -e
        cat /tmp/sysinfo/board_name
        cat /sys/class/net/br-lan/address 2>/dev/null || ip -o link show br-lan
        ip -o -4 address show dev br-lan
        test -s "$ZENDRY_ROOT/etc/config/system" -a -s "$ZENDRY_ROOT/etc/config/wireless"
        test -S "$ZENDRY_ROOT/var/run/wifi_manager.sock"
        exec 3<>/dev/tcp/127.0.0.1/1883
        echo ready $QV_SIMULATED_AP $ZENDRY_ROOT
        """,
        options=["--mac", "02:aa:bb:cc:dd:ee", "--ip", "10.1.2.3/16", "--board", "ap-x"],
    )
    for wanted in ("ap-x\n", "02:aa:bb:cc:dd:ee", "10.1.2.3/16", "ready 1 /tmp/ap"):
        assert wanted in output, output


def test_parts_can_be_left_out_or_given_arguments():
    script(
        """
        ip link show br-lan && exit 10
        test -e $AP_DIR/mosquitto.pid -o -e $AP_DIR/wifi_manager.pid && exit 11
        exit 0
        """,
        options=["--no-bridge", "--no-broker", "--no-wifi-manager"],
    )
    stations = "grep -c '\"rssi\"' $AP_DIR/wifi_manager.state.json"
    options = ["--no-broker", "--wifi-manager", "--stations 3 --vaps 0"]
    assert script(stations, options=options) == "3\n"


def test_host_is_out_of_reach(tmp_path):
    marker = tmp_path / "marker"
    home = pathlib.Path.home() / f".simulated-ap-{os.getpid()}"
    output = script(
        f"""
        touch /tmp/inside-only /run/inside-only
        for target in /etc/x-{os.getpid()} {home} {REPO}/x {BUILD}/x {marker}; do
            if touch $target 2>/dev/null && [[ $target != /tmp/* ]]; then echo wrote $target; fi
        done
        [[ -w /proc/sysrq-trigger || -w /proc/sys/kernel/printk ]] && echo wrote /proc
        for kind in user mnt net pid ipc; do readlink /proc/self/ns/$kind; done
        ip -o link | grep -vE ': (lo|br-lan)[:@]'
        ls /proc | grep -cE '^[0-9]+$'
        """
    )
    assert "wrote" not in output, output
    # The host's clock and power belong to its own user namespace.
    for kind in ("user", "mnt", "net", "pid", "ipc"):
        assert f"{kind}:[" in output and os.readlink(f"/proc/self/ns/{kind}") not in output
    assert int(output.split()[-1]) < 12, output  # processes in sight
    assert not marker.exists() and not home.exists()
    assert not pathlib.Path("/tmp/inside-only").exists()


def test_device_tools_only_record():
    output = script(
        """
        echo 3 >$AP_DIR/tools/sysupgrade.status
        echo 0.3 >$AP_DIR/tools/wifi.delay
        reboot
        date -s '2024-01-01 10:00:00'
        printf 'one two\\nsecret "x"\\n' | passwd root
        updata_rootfs.sh /tmp/qv_firmware.img
        sysupgrade -n image; echo status $?
        before=${EPOCHREALTIME/./}
        wifi reload
        echo took $(((${EPOCHREALTIME/./} - before) / 1000))
        cat $AP_DIR/tools/calls
        """
    )
    assert "status 3" in output
    assert 300 <= int(output.split("took ")[1].split()[0]) < 3000
    for call in (
        '{"tool": "reboot", "args": []}',
        '{"tool": "date", "args": ["-s", "2024-01-01 10:00:00"]}',
        '{"tool": "passwd", "args": ["root"], "stdin": "one two\\nsecret \\"x\\"\\n"}',
        '{"tool": "updata_rootfs.sh", "args": ["/tmp/qv_firmware.img"]}',
        '{"tool": "sysupgrade", "args": ["-n", "image"]}',
        '{"tool": "wifi", "args": ["reload"]}',
    ):
        assert call in output, output


@pytest.mark.parametrize(
    "command, expected",
    [
        (["bash", "-c", "exit 7"], 7),
        (["bash", "-c", "kill -KILL $$"], 128 + signal.SIGKILL),
        (["/no/such/command"], 127),
    ],
)
def test_exit_status_is_the_commands(command, expected):
    assert run(*command)[0] == expected


@pytest.mark.parametrize(
    "arguments, line",
    [
        ([], "no command given"),
        (["--frobnicate", "--", "true"], "unknown argument --frobnicate"),
        (["--mac"], "--mac needs a value"),
        (["--build", "/nonexistent", "--", "true"], "wifi_manager_sim is missing"),
        (["--join", "1"], "1 is no simulated access point"),
        (["--join", "999999999"], "999999999 is no simulated access point"),
    ],
)
def test_setup_failures_say_why(arguments, line):
    done = subprocess.run([LAUNCHER, *arguments], capture_output=True, text=True, timeout=10)
    assert done.returncode == 125
    assert line in done.stderr
    assert done.stderr.count("\n") == 1


# A user namespace cannot be made in a chroot.
CHROOT = "mount --rbind / $0 && exec {more} chroot $0 "
PLAIN_CHROOT = """
for path in /*; do
    if [[ -L $path ]]; then cp -P $path $0; elif [[ -d $path ]]; then mkdir $0$path; fi
    [[ ! -d $0$path || -L $path ]] || mount --rbind $path $0$path
done
exec chroot $0 """


def run_in_chroot(folder, enter, *command):
    """As root, of a user namespace around it all if need be."""
    root = [] if os.getuid() == 0 else ["--user", "--map-root-user"]
    launch = [LAUNCHER, "--build", BUILD, "--", *command]
    done = subprocess.run(
        ["unshare", *root, "--mount", "bash", "-c", enter + '"$@"', folder, *launch],
        capture_output=True,
        text=True,
        timeout=30,
    )
    return done.returncode, done.stdout, done.stderr


def test_root_does_without_a_user_namespace(tmp_path):
    text = """
        readlink /proc/self/ns/user
        for kind in mnt net ipc uts pid; do readlink /proc/self/ns/$kind; done
        test -S "$ZENDRY_ROOT/var/run/wifi_manager.sock" && ip -o link show br-lan
        for path in /etc /proc/sysrq-trigger; do [[ -w $path ]] && echo writable $path; done
        setpriv --dump | grep '^Capability bounding set:'
    """
    status, output, errors = run_in_chroot(tmp_path, CHROOT.format(more=""), "bash", "-c", text)
    assert status == 0, errors
    user, *others = output.split()[:6]
    if os.getuid() == 0:
        assert user == os.readlink("/proc/self/ns/user")
    for kind, number in zip(("mnt", "net", "ipc", "uts", "pid"), others):
        assert number.startswith(kind) and number != os.readlink(f"/proc/self/ns/{kind}")
    assert "br-lan" in output and "writable" not in output, output
    capabilities = output.split()[-1].split(",")
    assert not {"sys_time", "sys_boot", "sys_module", "sys_rawio", "mknod"} & set(capabilities)


@pytest.mark.parametrize(
    "enter, line",
    [
        (
            CHROOT.format(more="setpriv --bounding-set -sys_admin"),
            "not allowed here, as in a container without --privileged: namespaces for"
            " mount net ipc uts pid",
        ),
        (PLAIN_CHROOT, "the folder that is the root here must be a mount point: "),
    ],
    ids=["root without rights", "root folder is no mount point"],
)
def test_root_is_told_what_is_missing(tmp_path, enter, line):
    status, _, errors = run_in_chroot(tmp_path, enter, "true")
    assert status == 125
    assert errors.startswith(f"simulated-ap: {line}") and errors.count("\n") == 1, errors


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
@pytest.mark.parametrize("whole_group", [False, True])
def test_signals_let_the_command_finish(number, whole_group):
    """To the launcher alone, or to the group as from a terminal's Ctrl-C."""
    process = start_script(
        "trap 'ended=1' TERM INT; echo up; until [[ $ended ]]; do sleep 0.05; done; sleep 0.3; exit 9",
        start_new_session=True,
    )
    (os.killpg if whole_group else os.kill)(process.pid, number)
    process.communicate(timeout=5)
    assert process.returncode == 9


def test_interrupt_key_reaches_the_command_once():
    child, terminal = pty.fork()
    if child == 0:
        count = "trap 'n+=x' INT; echo up; for i in {1..10}; do sleep 0.1; done; exit ${#n}"
        os.execv(LAUNCHER, [LAUNCHER, "--build", BUILD, "--", "bash", "-c", count])
    with open(terminal, "rb+", buffering=0) as keyboard:
        assert keyboard.readline() == b"up\r\n"
        keyboard.write(b"\x03")
        _, status = os.waitpid(child, 0)
    assert os.waitstatus_to_exitcode(status) == 1


def test_killed_launcher_leaves_nothing():
    marker = f"marker-{os.getpid()}-{time.monotonic_ns()}"
    process = start_script(f"sleep 600 & setsid sleep 600 & echo up; wait; : {marker}")
    assert processes_with(marker)
    process.kill()
    process.wait(5)
    poll(lambda: not processes_with(marker), 5, "the end of every process")
    assert process.stdout.read() == ""  # every holder of the pipe is gone


def test_several_side_by_side():
    text = "echo $0 >/tmp/mine; echo up; read; cat /tmp/mine"
    both = [start_script(text, name, stdin=subprocess.PIPE) for name in ("one", "two")]
    assert [process.communicate("\n", timeout=10)[0] for process in both] == ["one\n", "two\n"]
    assert [process.returncode for process in both] == [0, 0]


def test_works_from_a_clone_under_tmp(tmp_path):
    clone = tmp_path / "a clone"
    build = clone / "build"
    shutil.copytree(REPO / "simulator", clone / "simulator", symlinks=True)
    build.mkdir()
    shutil.copy(BUILD / "wifi_manager_sim", build)
    done = subprocess.run(
        [
            "simulator/simulated-ap",
            "--",
            "bash",
            "-c",
            'pwd; ls; date; touch x; ls "$(dirname "$PWD")"',
        ],
        cwd=clone,
        capture_output=True,
        text=True,
        timeout=30,
    )
    assert done.stdout.splitlines() == [str(clone), "build", "simulator", clone.name], done.stderr
    assert "Read-only file system" in done.stderr


def test_writable_folder_is_the_only_one(tmp_path):
    open_folder, closed = tmp_path / "open", tmp_path / "closed"
    open_folder.mkdir()
    closed.mkdir()
    text = f"echo out >{open_folder}/x; echo out >{closed}/x; true"
    script(text, options=["--writable", open_folder])
    assert (open_folder / "x").read_text() == "out\n"
    assert not (closed / "x").exists()


def test_shell_with_an_agent():
    """And a second terminal in the same access point."""
    first = subprocess.Popen(
        [str(LAUNCHER), "--build", str(BUILD), "--shell"],
        text=True,
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
    )
    greeting = "".join(
        iter(first.stdout.readline, f"    simulator/simulated-ap --join {first.pid}\n")
    )
    assert "An agent runs; its log: /run/ap/qvagent.log." in greeting
    join = [str(LAUNCHER), "--join", str(first.pid)]
    second = subprocess.run(
        join,
        input="qvctl get radio-stats; echo $AP_MAC",
        timeout=30,
        text=True,
        stdout=subprocess.PIPE,
        check=True,
    )
    assert "wifi2" in second.stdout and "02:11:22:33:44:55\n" in second.stdout
    output, _ = first.communicate("qvctl get radio-stats\n", timeout=30)
    assert first.returncode == 0 and "wifi2" in output
