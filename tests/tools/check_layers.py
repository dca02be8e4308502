#!/usr/bin/env python3
"""Fails when an include runs up the floors of the house or in a circle, or when the MIME engine
includes anything of the archiver but base. Usage: check_layers.py ROOT"""
import os
import re
import sys

FLOORS = [
    {"base"},
    {"mime", "platform"},
    {"archive"},
    {"settings"},
    {"server", "schedule"},
    {"ingest", "query", "find", "output"},
    {"verify"},
    {"app"},
    {"cli", "desktop"},
]
LEVEL = {folder: level for level, floor in enumerate(FLOORS) for folder in floor}
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.M)


def room(path):
    return os.path.splitext(path)[0]


def folder(path):
    return path.split("/")[0]


def includes(root):
    found = {}
    for top in sorted(LEVEL):
        for here, _, names in os.walk(os.path.join(root, top)):
            for name in names:
                if name.endswith((".h", ".cpp")):
                    path = os.path.join(here, name)
                    with open(path, encoding="utf-8") as source:
                        found[os.path.relpath(path, root)] = INCLUDE.findall(source.read())
    return found


def upward(found):
    for path, targets in sorted(found.items()):
        for target in targets:
            here, there = folder(path), folder(target)
            if there not in LEVEL:
                yield f"{path}: \"{target}\" is not a path from the root"
            elif here == "mime" and there not in ("mime", "base"):
                yield f"{path}: the engine includes {target}"
            elif LEVEL[there] > LEVEL[here]:
                yield f"{path}: runs up to {target}"
            elif here != there and LEVEL[there] == LEVEL[here]:
                yield f"{path}: runs across to {target}"


def circles(found):
    graph = {}
    for path, targets in found.items():
        for target in targets:
            if room(target) != room(path):
                graph.setdefault(room(path), set()).add(room(target))
    state, trail = {}, []

    def visit(node):
        state[node] = "open"
        trail.append(node)
        for target in sorted(graph.get(node, ())):
            if state.get(target) == "open":
                yield " -> ".join(trail[trail.index(target):] + [target])
            elif target not in state:
                yield from visit(target)
        trail.pop()
        state[node] = "done"

    for node in sorted(graph):
        if node not in state:
            yield from visit(node)


def main():
    sys.setrecursionlimit(10000)
    found = includes(sys.argv[1])
    faults = list(upward(found)) + ["circle: " + ring for ring in circles(found)]
    for fault in faults:
        print(fault)
    print(f"{len(found)} files, {len(faults)} faults")
    return 1 if faults or not found else 0


if __name__ == "__main__":
    sys.exit(main())
