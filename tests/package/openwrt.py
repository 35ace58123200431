#!/usr/bin/python3
"""Plays the part of an OpenWrt build for the package in packaging/openwrt:
prepares, configures and installs it with a make that speaks the build system's words."""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
PROJECT = HERE.parents[1]
PACKAGE = PROJECT / "packaging/openwrt"

# Packages and their variants, and whether they speak TLS.
PACKAGES = {("qvagent", "ssl"): "ON", ("qvagent-nossl", "nossl"): "OFF"}


def check_makefile(top, package, variant, secured):
    def make(target):
        chosen = f"PACKAGE={package}", f"BUILD_VARIANT={variant}"
        command = ["make", "-C", str(PACKAGE), f"TOPDIR={top}", *chosen, target]
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        assert done.returncode == 0, done.stdout
        return done.stdout

    shutil.copytree(HERE / "openwrt", top, dirs_exist_ok=True)
    shown = make("show")
    project = (PROJECT / "CMakeLists.txt").read_text()
    version = re.search(r"^project\(qvagent VERSION (\S+)", project, re.M)[1]
    assert f"PKG_VERSION={version}\n" in shown, shown
    build = top / f"build/qvagent-{version}"
    make("prepare")
    make("configure")
    cache = (build / "objects/CMakeCache.txt").read_text()
    assert re.search(rf"^QV_TLS:\w+={secured}$", cache, re.M), package
    check_configuration(build / "objects", top)
    agent = build / "ipkg-install/usr/sbin/qvagent"
    agent.parent.mkdir(parents=True)
    agent.write_text("the agent")
    make("install")
    check_installed(top / "root")


def check_configuration(objects, top):
    """The maker's library in the stand-in's place, and nothing to build that a device does not
    need."""
    ninja = (objects / "build.ninja").read_text()
    link = re.search(r"^build qvagent: .*?\n\n", ninja, re.M | re.S)[0]
    assert str(top / "staging/usr/lib/libzendry_common.so") in link, link
    for unwanted in ("zendry_common_standin", "bench_echo", "unit_tests", "wifi_manager_sim"):
        assert unwanted not in ninja, unwanted
    assert "build qvctl:" not in ninja


def check_installed(root):
    installed = {str(path.relative_to(root)) for path in root.rglob("*") if path.is_file()}
    kept = "lib/upgrade/keep.d/qvagent"
    modes = {"usr/sbin/qvagent": 0o755, "etc/init.d/qvagent": 0o755, kept: 0o644}
    assert installed == set(modes), installed
    script = root / "etc/init.d/qvagent"
    assert script.read_text().startswith("#!/bin/sh /etc/rc.common\n")
    assert (root / kept).read_text() == "/etc/qvagent/\n"
    for name, mode in (modes | {"etc/qvagent": 0o700}).items():
        assert (root / name).stat().st_mode & 0o777 == mode, name


def main():
    for package, secured in PACKAGES.items():
        with tempfile.TemporaryDirectory() as folder:
            check_makefile(pathlib.Path(folder), *package, secured)


if __name__ == "__main__":
    sys.exit(main())
