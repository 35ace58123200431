"""Certificates, and the folder where the agent looks for its own."""
import pathlib
import shutil
import subprocess

from harness import ZENDRY_ROOT

PROJECT = pathlib.Path(__file__).resolve().parents[2]
FOLDER = ZENDRY_ROOT / "etc/qvagent"
LOGIN = "known\nsecret\n"


def certify(folder, *words, begin=2020, end=2048):
    """As scripts/make-certificates, valid from the first day of one year to that of another."""
    dates = ["--from", f"{begin}0101000000Z", "--to", f"{end}0101000000Z"]
    subprocess.run([PROJECT / "scripts/make-certificates", folder, *words, *dates], check=True)


def install(authority, device, names):
    """Puts files into the agent's folder in place of all that it had."""
    if FOLDER.is_symlink():
        FOLDER.unlink()
    shutil.rmtree(FOLDER, ignore_errors=True)
    FOLDER.mkdir(mode=0o700)
    for name in names:
        if name == "login":
            (FOLDER / name).touch(0o600)
            (FOLDER / name).write_text(LOGIN)
        else:
            shutil.copy(authority / name.replace("client", device), FOLDER / name)
