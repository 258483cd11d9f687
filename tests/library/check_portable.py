#!/usr/bin/env python3
"""Fails when code under src/ calls a SYCL feature that some implementations lack or spell
differently without going through src/common/portability.hpp: host tasks, fences, sub-buffers,
aligned USM allocation, group broadcasts and sub-group shuffles. A port then changes that one
header.

Usage: check_portable.py SRC_DIR
"""
import pathlib
import re
import sys

HEADER = pathlib.Path("common") / "portability.hpp"
FEATURES = [
    ("host task", re.compile(r"(\.|->)\s*host_task\s*\(")),
    ("fence", re.compile(r"\bsycl::atomic_fence\s*\(")),
    ("group broadcast or shuffle",
     re.compile(r"\bsycl::(group_broadcast|select_from_group|shift_group_left|shift_group_right|"
                r"permute_group_by_xor)\s*\(")),
    ("aligned USM allocation", re.compile(r"\bsycl::aligned_alloc\w*\s*[(<]")),
    ("sub-buffer", re.compile(r"\bbuffer<[^;]*>\s*\w*\s*[({][^;]*\bsycl::id<")),
]
COMMENT = re.compile(r"^\s*//")


def main() -> int:
    src = pathlib.Path(sys.argv[1])
    problems = []
    for path in sorted(src.rglob("*")):
        if path.suffix not in {".hpp", ".cpp", ".h", ".inc"} or path.relative_to(src) == HEADER:
            continue
        for number, line in enumerate(path.read_text().splitlines(), 1):
            if COMMENT.match(line):
                continue
            for what, pattern in FEATURES:
                if pattern.search(line):
                    problems.append(f"{path.relative_to(src.parent)}:{number}: {what} outside "
                                    f"src/{HEADER.as_posix()}: use its portable:: form")
    for problem in problems:
        print(problem)
    print(f"{len(problems)} direct uses" if problems else "every such feature goes through one header")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
