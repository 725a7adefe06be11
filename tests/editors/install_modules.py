"""usage: install_modules.py FOLDER

Installs the npm packages of package.json into the folder, unless those of the lock file are there already."""

import shutil
import subprocess
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
folder = Path(sys.argv[1])
installed = folder / "installed-lock.json"
if not installed.exists() or installed.read_bytes() != (HERE / "package-lock.json").read_bytes():
    folder.mkdir(parents=True, exist_ok=True)
    for name in ("package.json", "package-lock.json"):
        shutil.copy(HERE / name, folder)
    subprocess.run(["npm", "ci", "--ignore-scripts", "--no-audit", "--no-fund"], cwd=folder, check=True)
    shutil.copy(HERE / "package-lock.json", installed)
