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

# The packages that bring what src/CMakeLists.txt links.
DEPENDS = {"libmosquitto-nossl", "libjson-c", "libstdcpp", "libpthread", "libzendry-common"}


def make(top, target):
    command = ["make", "-C", str(PACKAGE), f"TOPDIR={top}", target]
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    assert done.returncode == 0, done.stdout
    return done.stdout


def check_makefile(top):
    shutil.copytree(HERE / "openwrt", top, dirs_exist_ok=True)
    shown = make(top, "show")
    version = re.search(
        r"^project\(qvagent VERSION (\S+)", (PROJECT / "CMakeLists.txt").read_text(), re.M
    )
    assert f"PKG_VERSION={version[1]}\n" in shown, shown
    assert set(re.search(r"DEPENDS:=(.*)", shown)[1].replace("+", "").split()) == DEPENDS, shown
    build, files = (
        pathlib.Path(re.search(rf"^{name}=(.*)", shown, re.M)[1])
        for name in ("PKG_BUILD_DIR", "PKG_INSTALL_DIR")
    )
    make(top, "prepare")
    make(top, "configure")
    check_configuration(build / "objects", top)
    (files / "usr/sbin").mkdir(parents=True)
    (files / "usr/sbin/qvagent").write_text("the agent")
    make(top, "install")
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
    assert installed == {"usr/sbin/qvagent", "etc/init.d/qvagent"}, installed
    script = root / "etc/init.d/qvagent"
    assert script.read_text().startswith("#!/bin/sh /etc/rc.common\n")
    assert all((root / name).stat().st_mode & 0o777 == 0o755 for name in installed)


def main():
    with tempfile.TemporaryDirectory() as folder:
        check_makefile(pathlib.Path(folder))


if __name__ == "__main__":
    sys.exit(main())
