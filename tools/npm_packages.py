"""usage: npm_packages.py SOURCE FOLDER

Installs the npm packages that package.json in the folder SOURCE names into FOLDER, unless those of its lock file are
there already."""

import shutil
import subprocess
import sys
from pathlib import Path

source, folder = map(Path, sys.argv[1:])
installed = folder / "installed-lock.json"
if not installed.exists() or installed.read_bytes() != (source / "package-lock.json").read_bytes():
    folder.mkdir(parents=True, exist_ok=True)
    for name in ("package.json", "package-lock.json"):
        shutil.copy(source / name, folder)
    subprocess.run(["npm", "ci", "--ignore-scripts", "--no-audit", "--no-fund"], cwd=folder, check=True)
    shutil.copy(source / "package-lock.json", installed)
