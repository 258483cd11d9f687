#!/usr/bin/env python3
"""Fails when a folder of src/ includes a folder above it, or when the two backends include each
other. Layers from the top down; folders on one line are peers that must not include each other.

Usage: check_layers.py SRC_DIR
"""
import pathlib
import re
import sys

LAYERS = [
    ["interface"],        # public frames and dispatch
    ["gpu", "cpu"],       # the backends
    ["transpose"],        # what both backends share
    ["handle"],           # records of the handle, binding, selection, release
    ["containers"],
    ["platform"],
    ["common"],
]
RANK = {folder: rank for rank, peers in enumerate(LAYERS) for folder in peers}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"/]+)/')


def main() -> int:
    src = pathlib.Path(sys.argv[1])
    problems = []
    folders = {p.name for p in src.iterdir() if p.is_dir()}
    for unknown in sorted(folders - RANK.keys()):
        problems.append(f"src/{unknown}/ has no place in the layer list of {pathlib.Path(__file__).name}")
    for path in sorted(src.rglob("*")):
        if path.suffix not in {".hpp", ".cpp", ".h", ".inc"}:
            continue
        owner = path.relative_to(src).parts[0]
        if owner not in RANK:
            continue
        for number, line in enumerate(path.read_text().splitlines(), 1):
            match = INCLUDE.match(line)
            if not match or match.group(1) not in RANK:
                continue
            target = match.group(1)
            where = f"{path.relative_to(src.parent)}:{number}"
            if target != owner and RANK[target] == RANK[owner]:
                problems.append(f"{where}: {owner}/ includes its peer {target}/")
            elif RANK[target] < RANK[owner]:
                problems.append(f"{where}: {owner}/ includes {target}/, which lies above it")
    for problem in problems:
        print(problem)
    print(f"{len(problems)} layering problems" if problems else "layers point one way")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
