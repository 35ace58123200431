#!/usr/bin/python3
"""Installs the Debian package into a folder of its own, inside a simulated access point, has systemd
examine its unit, lets the agent that it brought serve a controller, and removes it."""
import os
import pathlib
import re
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "system"))
import harness
from harness import DISCOVERY, SYSTEM_STATS

ROOT = pathlib.Path("/tmp/root")
DATABASE = ROOT / "var/lib/dpkg"
INSTALLED = {
    "usr/sbin/qvagent",
    "usr/lib/systemd/system/qvagent.service",
    "usr/bin/qvctl",
    "usr/share/man/man1/qvctl.1.gz",
    "usr/share/bash-completion/completions/qvctl",
}
# What `systemd-analyze security` gives the unit, in tenths: the agent is root, sets the clock,
# mounts, flashes and restarts, and 5.9 is what is left without that.
EXPOSURE_MAX = 60


def run(*command):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    assert done.returncode == 0, f"{command}: {done.stdout}"
    return done.stdout


def dpkg(*arguments):
    # Maintainer scripts cannot run inside a root without a shell; they see DPKG_ROOT instead.
    run("dpkg", f"--root={ROOT}", "--force-script-chrootless", "--log=/dev/null", *arguments)


def files():
    return {
        str(path.relative_to(ROOT))
        for path in ROOT.rglob("*")
        if not path.is_dir() and DATABASE not in path.parents
    }


def make_root(package):
    """Holds no packages, but believes in those of the machine that the package depends on."""
    for folder in ("info", "updates", "triggers"):
        (DATABASE / folder).mkdir(parents=True)
    needed = re.findall(r"(?:^|, )([^ ,]+)", run("dpkg-deb", "--field", package, "Depends").strip())
    assert needed, "the package depends on nothing"
    fields = ("Package", "Status", "Version", "Architecture", "Maintainer", "Description")
    form = "".join(f"{name}: ${{{name}}}\n" for name in fields) + "\n"
    (DATABASE / "status").write_text(run("dpkg-query", "--show", f"--showformat={form}", *needed))


def examine_unit():
    """Without a systemd that runs: what it would make of the file, with the agent where it is."""
    text = (ROOT / "usr/lib/systemd/system/qvagent.service").read_text()
    unit = pathlib.Path("/tmp/unit/qvagent.service")
    unit.parent.mkdir()
    unit.write_text(text.replace("ExecStart=/", f"ExecStart={ROOT}/"))
    complaints = run("systemd-analyze", "verify", "--man=no", unit)
    assert not complaints, complaints
    run("systemd-analyze", "security", "--offline=yes", f"--threshold={EXPOSURE_MAX}", unit)


def serve_a_controller():
    broker = harness.Broker().start()
    wifi_manager = harness.WifiManager()
    wifi_manager.start()
    controller = harness.Controller("qv/device_" + os.environ["AP_MAC"]).connect()
    agent = harness.Agent()
    controller.wait_report(DISCOVERY, 10)
    controller.send(1034)
    controller.wait_report(SYSTEM_STATS, 5)
    agent.close()
    controller.close()
    wifi_manager.close()
    broker.close()


def main():
    package = sys.argv[1]
    make_root(package)
    before = files()
    dpkg("--install", package)
    installed = files() - before
    assert INSTALLED <= installed, INSTALLED - installed
    examine_unit()
    harness.AGENT[:] = [str(ROOT / "usr/sbin/qvagent")]
    serve_a_controller()
    dpkg("--remove", "qvagent")
    assert files() == before, files() ^ before
    dpkg("--install", package)
    dpkg("--purge", "qvagent")
    assert files() == before, files() ^ before
    assert "qvagent" not in (DATABASE / "status").read_text()


if __name__ == "__main__":
    main()
