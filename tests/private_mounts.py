"""A mount namespace of its own for a test: what it mounts, nobody else sees, and it is gone with the test.

That needs root, or a user who may make namespaces. A test calls `enter` before everything else, and skips what
needs mounts where `available` says no.
"""

import os
import shutil
import subprocess
import sys

INSIDE = "QUILLET_TEST_NAMESPACE"


def available():
    return INSIDE in os.environ


def is_root():
    """Whether root is the real one, who may do everything, and not a user in a namespace."""
    return os.environ.get(INSIDE) == "root"


def enter():
    """Starts the test again in a namespace; returns there, and where there can be none."""
    if available():
        return
    as_root = os.getuid() == 0
    command = ["unshare", *([] if as_root else ["--user", "--map-root-user"]), "--mount", "--propagation", "private"]
    if shutil.which("unshare") and subprocess.run([*command, "true"], capture_output=True).returncode == 0:
        os.environ[INSIDE] = "root" if as_root else "user"
        os.execvp(command[0], [*command, sys.executable, *sys.argv])


def mount(*arguments):
    subprocess.run(["mount", *map(str, arguments)], check=True)


def unmount(folder):
    subprocess.run(["umount", "-l", str(folder)], check=True)
