#!/usr/bin/env python3
"""Holds the sources against the architecture: which folder may include which, and where the
operating system may be touched. Prints every breach as file:line and fails if there is any."""

import collections
import pathlib
import re
import subprocess
import sys

# A subsystem may include those named here, MurloKit, and the ports of platform/.
SUBSYSTEMS = {
    "support": [],
    "settings": ["support"],
    "targets": ["support"],
    "triggers": ["settings", "support"],
    "look": [],
    "overlay": ["look", "settings", "support"],
    "backend": ["settings", "support"],
    "telemetry": ["backend", "settings", "support"],
    "account": ["backend", "look", "settings", "support", "targets", "telemetry"],
    "setup": ["account", "backend", "dictation", "look", "settings", "support", "triggers"],
    "screens": ["hints", "look", "menubar", "overlay", "settings", "support", "windows"],
    "hints": ["look", "support", "targets"],
    "menubar": ["dictation", "look", "overlay", "settings", "support"],
    "windows": ["account", "dictation", "look", "menubar", "settings", "setup", "support"],
    "dictation": ["account", "look", "overlay", "settings", "support", "targets", "telemetry"],
}
# Headers of the operating system and the desktop: adapters and their tests alone.
SYSTEM = re.compile(r"(X11/|xcb/|xkbcommon/|pulse/|atspi/|dbus/|libsecret/|systemd/|linux/|sys/"
                    r"|unistd\.h|signal\.h|csignal|fcntl\.h|QDBus|QtDBus)")
# Time and threads have one port; these are what it hides. The log's own stamps (support) are apart.
CLOCKS = re.compile(r"\b(QTimer|QElapsedTimer|QThread::(m|u)?sleep|std::this_thread|std::async"
                    r"|(QDateTime|QDate|QTime)::current\w+|(system|steady)_clock::now)\b")
OUTSIDE = ("tests/", "bench", "tools/")  # of the product
INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]')
BUDGETS = {".cpp": 400, ".h": 150}  # lines that start a conversation


def area(path):
    """The part of the architecture that a source file belongs to."""
    parts = path.parts
    if parts[0] == "Murlo":
        if parts[1] == "platform":
            return "adapters" if parts[2] == "linux" else "ports"
        return parts[1] if len(parts) > 2 else "root"
    if parts[0] == "MurloBackend":
        return "server"
    return "kit" if parts[0] == "MurloKit" else "/".join(parts[:2])


def resolve(name, includer, files):
    for base in (includer.parent, pathlib.Path("."), pathlib.Path("Murlo")):
        path = base / name
        if path in files:
            return path
    return None


def breach(source, target):
    """Why a file of this area may not include that file, or nothing."""
    here, there = area(source), area(target)
    if here.startswith(OUTSIDE) or there == here:
        loads = there == "adapters" and here in ("tests/app", "tests/kit", "tests/fakes")
        return "only contract tests, desktop tests and bench include adapters" if loads else None
    if there.startswith(OUTSIDE):
        return "the product includes nothing of its tests"
    if there == "server":
        return "the backend is a program of its own, which shares MurloKit with Murlo"
    if here == "server":
        return None if there == "kit" else "the backend includes MurloKit and itself alone"
    if there == "adapters":
        return "only the loader in platform/linux includes adapters"
    if here == "kit":
        return "MurloKit includes MurloKit alone"
    if here in ("ports", "adapters"):
        allowed = ("kit", "ports") + (("support",) if here == "adapters" else ())
        return None if there in allowed else f"{here} do not include {there}"
    if here in SUBSYSTEMS:
        allowed = there in ("kit", "ports") or there in SUBSYSTEMS[here]
        return None if allowed else f"{here} does not include {there}"
    return None if here == "root" else f"{here} is no part of the architecture"


def cycles(edges):
    """Folders that include one another, directly or through others."""
    found = []

    def visit(node, trail):
        if node in trail:
            found.append(" <- ".join(trail[trail.index(node):] + [node]))
        elif node not in done:
            for following in sorted(edges[node]):
                visit(following, trail + [node])
            done.add(node)

    done = set()
    for start in sorted(edges):
        visit(start, [])
    return found


def main():
    listing = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "*.cpp", "*.h"],
                             check=True, capture_output=True, text=True)
    files = {pathlib.Path(name) for name in listing.stdout.split() if pathlib.Path(name).exists()}
    complaints, talk, edges = [], [], collections.defaultdict(set)
    for path in sorted(files):
        here = area(path)
        adapter = here == "adapters" or here in ("tests/contract", "tests/desktop") \
            or path.parts[0] in ("bench", "MurloBackend") or path.parts[:3] == ("tests", "harness", "desktop") or path.parts[0] == "tools"
        product = path.parts[0] in ("Murlo", "MurloKit", "MurloBackend")
        lines = path.read_text(encoding="utf-8").splitlines()
        if len(lines) > BUDGETS[path.suffix]:
            talk.append(f"{path}: {len(lines)} lines (budget {BUDGETS[path.suffix]})")
        for number, line in enumerate(lines, 1):
            place = f"{path}:{number}"
            include = INCLUDE.match(line)
            if include:
                name = include.group(2)
                if SYSTEM.match(name) and product and not adapter and here != "root":
                    complaints.append(f"{place}: <{name}> belongs to an adapter")
                if here == "kit" and re.match(r"Q(Object|Timer|Thread|Application)", name):
                    complaints.append(f"{place}: MurloKit has values and functions, no <{name}>")
                target = resolve(name, path, files)
                if target:
                    reason = breach(path, target)
                    if reason:
                        complaints.append(f"{place}: includes {target}: {reason}")
                    elif product:
                        edges[str(path.parent)].add(str(target.parent))
                        edges[str(path.parent)].discard(str(path.parent))
            elif product and not adapter and here != "support" and CLOCKS.search(line.split("//")[0]):
                complaints.append(f"{place}: time and threads come from platform/Scheduler.h")
    complaints += [f"folders include one another: {cycle}" for cycle in cycles(edges)]
    for line in talk:
        print(f"note: {line}")
    for line in complaints:
        print(line)
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
