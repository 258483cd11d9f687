#!/usr/bin/env python3
"""Fails when a source under src/gpu/ declares a structured binding.

Device compilers are held to C++17 by SYCL 2020, and some refuse a kernel lambda that captures a
structured binding (legal C++20). Rather than follow each binding to the lambdas that might
capture it, the rule covers all of src/gpu/, the folder of device code: no structured bindings
there at all. Bind to a named record (bound_product) or to named variables instead.

Usage: check_structured_bindings.py SRC_DIR
"""
import pathlib
import re
import sys

DEVICE_FOLDERS = ["gpu"]
# auto, optionally cv-qualified and a reference, then the bracketed names.
BINDING = re.compile(r"\bauto\s*(?:\bconst\b\s*|\bvolatile\b\s*)*(?:&&|&)?\s*\[")
COMMENT = re.compile(r"//.*$")
STRING = re.compile(r'"(?:[^"\\]|\\.)*"')


def code_of(text: str) -> list[str]:
    """The lines of a source with comments and string literals blanked, numbering kept."""
    text = re.sub(r"/\*.*?\*/", lambda m: "\n" * m.group(0).count("\n"), text, flags=re.S)
    return [COMMENT.sub("", STRING.sub('""', line)) for line in text.splitlines()]


def main() -> int:
    src = pathlib.Path(sys.argv[1])
    problems = []
    for folder in DEVICE_FOLDERS:
        root = src / folder
        if not root.is_dir():
            problems.append(f"src/{folder}/ not found under {src}")
            continue
        for path in sorted(root.rglob("*")):
            if path.suffix not in {".hpp", ".cpp", ".h", ".inc"}:
                continue
            for number, line in enumerate(code_of(path.read_text()), 1):
                if BINDING.search(line):
                    problems.append(f"{path.relative_to(src.parent)}:{number}: structured binding "
                                    f"in device code: {line.strip()}")
    for problem in problems:
        print(problem)
    if problems:
        print(f"{len(problems)} structured binding(s) under src/gpu/: bind to a named record or "
              "to named variables instead")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
