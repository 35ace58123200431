#!/usr/bin/python3
"""Plays the parts of an OpenWrt build and of its procd for the package in packaging/openwrt:
prepares, configures and installs it with a make that speaks the build system's words, and starts
the init script with an rc.common that writes down what procd is told."""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
PROJECT = HERE.parents[1]
PACKAGE = PROJECT / "packaging/openwrt"

# The init script as procd gets to know it. What procd_set_param is told stands below its name.
RC_COMMON = r"""
procd_open_instance() { echo "open $*"; }
procd_set_param() { echo "$*"; }
procd_append_param() { echo "append $*"; }
procd_close_instance() { echo "close $*"; }
. "$1"
start_service
echo "START=$START STOP=$STOP USE_PROCD=$USE_PROCD"
"""
# Started late, again after 5 s without end, both outputs to the system log, no environment, and
# time enough to end when a firmware tool is under way.
TOLD = [
    "open",
    "command /usr/sbin/qvagent",
    "respawn 3600 5 0",
    "stdout 1",
    "stderr 1",
    "term_timeout 300",
    "close",
    "START=99 STOP=10 USE_PROCD=1",
]
# Packages and their variants, with the packages that bring what src/CMakeLists.txt links.
DEPENDS = {"libjson-c", "libstdcpp", "libpthread", "libzendry-common"}
PACKAGES = {
    ("qvagent", "ssl"): DEPENDS | {"libmosquitto-ssl", "libopenssl"},
    ("qvagent-nossl", "nossl"): DEPENDS | {"libmosquitto-nossl"},
}


def run(*command, **options):
    done = subprocess.run(
        [str(word) for word in command],
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        **options,
    )
    assert done.returncode == 0, f"{command}: {done.stdout}"
    return done.stdout


def check_init_script(script):
    assert script.read_text().startswith("#!/bin/sh /etc/rc.common\n")
    told = run("sh", "-eu", "-c", RC_COMMON, "rc.common", script)
    assert [line.strip() for line in told.splitlines()] == TOLD, told


def check_makefile(top, package, variant, depends):
    def make(target):
        chosen = f"PACKAGE={package}", f"BUILD_VARIANT={variant}"
        return run("make", "-C", PACKAGE, f"TOPDIR={top}", *chosen, target)

    for name in ("rules.mk", "include"):
        copy = shutil.copytree if (HERE / "openwrt" / name).is_dir() else shutil.copy
        copy(HERE / "openwrt" / name, top / name)
    shown = make("show")
    version = re.search(
        r"^project\(qvagent VERSION (\S+)", (PROJECT / "CMakeLists.txt").read_text(), re.M
    )
    assert f"PKG_VERSION={version[1]}\n" in shown, shown
    depended = " ".join(re.findall(r"DEPENDS\+?:?=(.*)", shown))
    assert set(depended.replace("+", "").split()) == depends, shown
    assert f"VARIANT:={variant}\n" in shown, shown
    build, files = (
        pathlib.Path(re.search(rf"^{name}=(.*)", shown, re.M)[1])
        for name in ("PKG_BUILD_DIR", "PKG_INSTALL_DIR")
    )
    make("prepare")
    make("configure")
    secured = re.search(r"^QV_TLS:\w+=(\w+)", (build / "objects/CMakeCache.txt").read_text(), re.M)
    assert secured[1] == ("OFF" if variant == "nossl" else "ON"), secured
    check_configuration(build / "objects", top)
    (files / "usr/sbin").mkdir(parents=True)
    (files / "usr/sbin/qvagent").write_text("the agent")
    make("install")
    check_installed(top / "root")


def check_configuration(objects, top):
    """The maker's library in the stand-in's place, and nothing to build that a device does not
    need."""
    library = str(top / "staging/usr/lib/libzendry_common.so")
    ninja = (objects / "build.ninja").read_text()
    link = re.search(r"^build qvagent: .*?\n\n", ninja, re.M | re.S)[0]
    assert library in link, link
    targets = set(re.findall(r"^build (\w+): (?:phony|CXX_EXECUTABLE_LINKER)", ninja, re.M))
    assert "qvagent" in targets, targets
    unwanted = {"bench_echo", "qvctl", "unit_tests", "wifi_manager_sim"}
    assert not targets & unwanted, targets & unwanted
    assert "zendry_common_standin" not in ninja


def check_installed(root):
    installed = {str(path.relative_to(root)) for path in root.rglob("*") if path.is_file()}
    kept = "lib/upgrade/keep.d/qvagent"
    modes = {"usr/sbin/qvagent": 0o755, "etc/init.d/qvagent": 0o755, kept: 0o644}
    assert installed == set(modes), installed
    script = root / "etc/init.d/qvagent"
    assert script.read_bytes() == (PACKAGE / "files/qvagent.init").read_bytes()
    assert (root / kept).read_text() == "/etc/qvagent/\n"
    for name, mode in (modes | {"etc/qvagent": 0o700}).items():
        assert (root / name).stat().st_mode & 0o777 == mode, name


def main():
    check_init_script(PACKAGE / "files/qvagent.init")
    for package, depends in PACKAGES.items():
        with tempfile.TemporaryDirectory() as folder:
            check_makefile(pathlib.Path(folder), *package, depends)


if __name__ == "__main__":
    sys.exit(main())
