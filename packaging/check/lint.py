#!/usr/bin/env python3
"""Runs clang-tidy over the sources of build/debug, several at a time.

What was found clean is remembered by the content of everything that went into it (the file, the
headers of this repository that it includes, its compile command, the configuration, the linter's
version), so only what changed is linted again. Linted are the product's sources; --all lints tests and
benchmarks, too, and lints everything afresh.
"""

import argparse
import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build" / "debug"
CACHE = pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache") / "murlo/lint"


def compile_commands():
    """The compile command of every source of the repository, without what GCC alone knows."""
    commands = []
    for entry in json.loads((BUILD / "compile_commands.json").read_text()):
        path = pathlib.Path(entry["file"])
        if not path.is_relative_to(ROOT) or path.is_relative_to(ROOT / "build"):
            continue
        output = re.search(r" -o (\S+)", entry["command"]).group(1)
        command = re.sub(r" -Winvalid-pch| -Wno-maybe-uninitialized| -fcoroutines| -include \S+cmake_pch\.hxx(?:\.cxx)?", "", entry["command"])
        command = re.sub(r"^.*?(\S*(?:c|g|clang)\+\+) ", r"\1 ", command)  # without the compiler cache
        commands.append({**entry, "command": command, "output": output})
    return commands


def dependencies():
    """Every object's files of this repository, as Ninja knows them from the last build."""
    listing = subprocess.run(["ninja", "-C", str(BUILD), "-t", "deps"], capture_output=True, text=True,
                             check=True).stdout
    found, current = {}, []
    for line in listing.splitlines():
        if line.startswith("    "):
            path = (BUILD / line.strip()).resolve()
            if path.is_relative_to(ROOT):
                current.append(path)
        elif ": #deps" in line:
            current = found.setdefault(line.split(": #deps")[0], [])
    return found


def key(entry, files, version):
    """A name for everything that the linter's judgement of this source rests on."""
    digest = hashlib.sha256()
    digest.update((version + entry["command"].replace(str(ROOT), "")).encode())
    for path in [ROOT / ".clang-tidy", *sorted(set(files))]:
        if path.exists() and "cmake_pch" not in path.name:
            digest.update(path.name.encode() + b"\0" + path.read_bytes())
    return digest.hexdigest()


def lint(entry, commands_folder):
    run = subprocess.run(["clang-tidy", "--quiet", "-p", commands_folder, entry["file"]],
                         capture_output=True, text=True)
    return run.returncode == 0, run.stdout or run.stderr


def main():
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("--all", action="store_true", help="tests and benchmarks, too, and whatever is known")
    everything = arguments.parse_args().all
    CACHE.mkdir(parents=True, exist_ok=True)
    version = subprocess.run(["clang-tidy", "--version"], capture_output=True, text=True).stdout
    known_files = dependencies()
    commands = compile_commands()
    waiting = []
    for entry in commands:
        if not everything and pathlib.Path(entry["file"]).relative_to(ROOT).parts[0] in ("tests", "bench"):
            continue
        files = known_files.get(entry["output"])
        mark = CACHE / key(entry, files, version) if files else None
        if everything or mark is None or not mark.exists():
            waiting.append((entry, mark))
    failed = 0
    with tempfile.TemporaryDirectory() as folder, \
            concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        pathlib.Path(folder, "compile_commands.json").write_text(json.dumps(commands))
        jobs = {pool.submit(lint, entry, folder): (entry, mark) for entry, mark in waiting}
        for count, job in enumerate(concurrent.futures.as_completed(jobs), 1):
            entry, mark = jobs[job]
            clean, words = job.result()
            if clean and mark:
                mark.touch()
            elif not clean:
                failed += 1
                print(words.rstrip())
            if count % 10 == 0 or count == len(waiting):
                print(f"lint: {count} of {len(waiting)} files, {failed} with findings", file=sys.stderr)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
