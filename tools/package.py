#!/usr/bin/env python3
"""Makes the archives of a release, byte for byte the same from the same files.

Quillix-VERSION.xojo_plugin is a zip of the folder into which the plug-ins were installed, and
Quillix-VERSION.zip holds what belongs to them: documents, the manual made from them, examples and what is
for users in Python.
Quillix-Python-VERSION.zip is the folder of a Python that an application ships.
Every file gets the time of SOURCE_DATE_EPOCH, in seconds since 1970, or else of the last commit.
"""

import argparse
import os
import pathlib
import subprocess
import sys
import time
import zipfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
COMPANIONS = ["CHANGELOG.md", "LICENSE", "README.md", "docs", "examples", "support"]
EARLIEST = 315532800  # 1980, where the zip format begins


def time_stamp():
    seconds = os.environ.get("SOURCE_DATE_EPOCH")
    if seconds is None:
        # Without a repository the answer is nothing, and the earliest time is used.
        seconds = subprocess.run(
            ["git", "-C", ROOT, "log", "-1", "--format=%ct"], capture_output=True, text=True
        ).stdout
    return time.gmtime(max(int(seconds or 0), EARLIEST))[:6]


def all_files_below(path):
    files = [file for file in path.rglob("*") if file.is_file()]
    if not files:
        sys.exit(f"package: there is nothing in {path}")
    return files


def files_below(path):
    """The file itself, or the files in that folder, without hidden ones and what Python leaves."""
    if path.is_file():
        return [path]

    def is_clutter(file):
        parts = file.relative_to(path).parts
        return file.suffix == ".pyc" or any(part.startswith((".", "__pycache__")) for part in parts)

    return [file for file in all_files_below(path) if not is_clutter(file)]


def write_zip(archive, files, stamp):
    """Writes a zip of the files, given by their names in it, in the order of the names."""
    with zipfile.ZipFile(archive, "w") as output:
        for name in sorted(files):
            entry = zipfile.ZipInfo(name, stamp)
            entry.create_system = 3  # Unix, for the permissions
            entry.external_attr = 0o100644 << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            output.writestr(entry, files[name].read_bytes(), compresslevel=9)
    print(archive)


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter
    )
    made_of = parser.add_mutually_exclusive_group(required=True)
    made_of.add_argument("--plugins", type=pathlib.Path, help="where those lie")
    parser.add_argument("--site", type=pathlib.Path, help="where the manual lies")
    made_of.add_argument("--python", type=pathlib.Path, help="where the folder `python` lies")
    parser.add_argument("--version", required=True, help="the version, for the names")
    parser.add_argument("--output", required=True, type=pathlib.Path, help="where the archives go")
    options = parser.parse_args()

    stamp = time_stamp()
    options.output.mkdir(parents=True, exist_ok=True)
    if options.python:
        files = {file.relative_to(options.python).as_posix(): file
                 for file in all_files_below(options.python)}
        write_zip(options.output / f"Quillix-Python-{options.version}.zip", files, stamp)
        return
    name = f"Quillix-{options.version}"
    plugins = {
        file.relative_to(options.plugins).as_posix(): file for file in files_below(options.plugins)
    }
    write_zip(options.output / f"{name}.xojo_plugin", plugins, stamp)
    companions = {
        f"{name}/{file.relative_to(ROOT).as_posix()}": file
        for companion in COMPANIONS
        for file in files_below(ROOT / companion)
    }
    if options.site:
        companions |= {
            f"{name}/docs/{file.relative_to(options.site).as_posix()}": file
            for file in files_below(options.site)
        }
    write_zip(options.output / f"{name}.zip", companions, stamp)


if __name__ == "__main__":
    main()
