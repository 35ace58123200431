#!/usr/bin/python3
"""Installs the Debian packages into a folder of their own, inside a simulated access point, has
systemd examine the agent's unit, lets the agent and qvctl that they brought talk to each other, and
removes them.

usage: check.py QVAGENT.deb QVCTL.deb
"""
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
    "usr/share/doc/qvagent/README.md",
}
QVCTL_INSTALLED = {
    "usr/bin/qvctl",
    "usr/share/man/man1/qvctl.1.gz",
    "usr/share/bash-completion/completions/qvctl",
    "usr/share/doc/qvctl/README.md",
}
# What `systemd-analyze security` gives the unit, in tenths: the agent is root, sets the clock,
# mounts, flashes and restarts, and 5.8 is what is left without that.
EXPOSURE_MAX = 60
# The first systemd that examines a unit which it does not run.
OFFLINE_SYSTEMD = 250

LINK = "etc/systemd/system/multi-user.target.wants/qvagent.service"


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
        if (path.is_symlink() or not path.is_dir()) and DATABASE not in path.parents
    }


def make_root(*packages):
    """Holds no packages, but believes in those of the machine that the packages depend on."""
    for folder in ("info", "updates", "triggers"):
        (DATABASE / folder).mkdir(parents=True)
    needed = set()
    for package in packages:
        depends = run("dpkg-deb", "--field", package, "Depends").strip()
        assert depends, f"{package} depends on nothing"
        needed.update(re.findall(r"(?:^|, )([^ ,]+)", depends))
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
    version = int(re.search(r"\d+", run("systemd-analyze", "--version"))[0])
    if version < OFFLINE_SYSTEMD:
        print(f"package: systemd {version} cannot tell the unit's exposure: not examined")
        return
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
    asked = run(ROOT / "usr/bin/qvctl", "-d", os.environ["AP_MAC"], "get", "radio-stats")
    assert "wifi2" in asked, asked
    agent.close()
    controller.close()
    wifi_manager.close()
    broker.close()


def main():
    package, qvctl = sys.argv[1:]
    make_root(package, qvctl)
    empty = files()
    dpkg("--install", qvctl)
    before = files()
    # It belongs on other machines than the agent, and brings no service to them.
    assert before - empty == QVCTL_INSTALLED, (before - empty) ^ QVCTL_INSTALLED
    dpkg("--install", package)
    installed = files() - before
    assert INSTALLED | {LINK} <= installed, (INSTALLED | {LINK}) - installed
    secrets = ROOT / "etc/qvagent"
    assert secrets.stat().st_mode & 0o777 == 0o700, secrets
    examine_unit()
    harness.AGENT[:] = [str(ROOT / "usr/sbin/qvagent")]
    serve_a_controller()
    dpkg("--remove", "qvagent")
    assert files() == before, files() ^ before
    dpkg("--install", package)
    assert files() == before | installed, files() ^ (before | installed)
    (secrets / "client.key").touch()
    dpkg("--purge", "qvagent")
    assert files() == before and not secrets.exists(), files() ^ before
    assert "Package: qvagent" not in (DATABASE / "status").read_text()
    dpkg("--purge", "qvctl")
    assert files() == empty, files() ^ empty


if __name__ == "__main__":
    main()
