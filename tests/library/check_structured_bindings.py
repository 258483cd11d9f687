#!/usr/bin/env python3
"""Fails when device code declares a structured binding.

Device compilers are held to C++17 by SYCL 2020, and some refuse a kernel lambda that captures a
structured binding (legal C++20). Rather than follow each binding to the lambdas that might
capture it, the rule covers every source that can hold device code: all of src/gpu/, and every
other source under src/ that submits a kernel (parallel_for or single_task). Bind to a named
record (bound_product) or to named variables instead.

Before it scans, the script checks itself on fixtures that must and must not be found, so that a
checker that finds nothing cannot pass.

Usage: check_structured_bindings.py SRC_DIR
"""
import pathlib
import re
import sys

DEVICE_FOLDERS = ["gpu"]
SUFFIXES = {".hpp", ".cpp", ".h", ".inc"}
# auto, optionally cv-qualified and a reference, then the bracketed names; whitespace may span
# lines.
BINDING = re.compile(r"\bauto\s*(?:\bconst\b\s*|\bvolatile\b\s*)*(?:&&|&)?\s*\[")
SUBMITS = re.compile(r"\b(?:parallel_for|single_task)\b")


def code_of(text: str) -> str:
    """The source with comments, string and character literals blanked; newlines kept, so that
    offsets still give line numbers."""
    out = []
    i, n = 0, len(text)
    while i < n:
        c = text[i]
        if text.startswith("//", i):
            j = text.find("\n", i)
            j = n if j < 0 else j
            out.append(" " * (j - i))
            i = j
        elif text.startswith("/*", i):
            j = text.find("*/", i + 2)
            j = n if j < 0 else j + 2
            out.append(re.sub(r"[^\n]", " ", text[i:j]))
            i = j
        elif c == 'R' and text.startswith('R"', i) and (i == 0 or not text[i - 1].isalnum()):
            m = re.match(r'R"([^(\s]*)\(', text[i:])
            if m:
                end = text.find(")" + m.group(1) + '"', i)
                j = n if end < 0 else end + len(m.group(1)) + 2
                out.append(re.sub(r"[^\n]", " ", text[i:j]))
                i = j
            else:
                out.append(c)
                i += 1
        elif c in "\"'":
            # A digit separator (1'000) is not a literal.
            if c == "'" and i > 0 and text[i - 1].isalnum() and i + 1 < n and text[i + 1].isalnum():
                out.append(c)
                i += 1
                continue
            j = i + 1
            while j < n and text[j] != c and text[j] != "\n":
                j += 2 if text[j] == "\\" else 1
            j = min(j + 1, n)
            out.append(c + " " * (j - i - 2) + c if j - i >= 2 else text[i:j])
            i = j
        else:
            out.append(c)
            i += 1
    return "".join(out)


def bindings_in(text: str) -> list[int]:
    """The line numbers of the structured bindings of a source."""
    code = code_of(text)
    return [code.count("\n", 0, m.start()) + 1 for m in BINDING.finditer(code)]


def submits_kernels(text: str) -> bool:
    return SUBMITS.search(code_of(text)) is not None


FOUND = [
    "auto [a, b] = f();",
    "const auto& [a, b] = f();",
    "auto\n  [a, b] = f();",
    "char q = '\"'; auto [c, d] = g();",
    "auto&& [x] = t;",
    'const char* s = "x"; auto const [p, q] = r;',
]
NOT_FOUND = [
    "// auto [a, b] = f();",
    "/* auto [a,\n b] */ int x;",
    'const char* s = "auto [a, b]";',
    "auto f = [a, b] { return a; };",
    "int n = 1'000; auto x = y[0];",
    'const char* r = R"(auto [a, b])";',
]


def self_test() -> list[str]:
    problems = []
    for text in FOUND:
        if not bindings_in(text):
            problems.append(f"self-test: not found in {text!r}")
    for text in NOT_FOUND:
        if bindings_in(text):
            problems.append(f"self-test: wrongly found in {text!r}")
    return problems


def main() -> int:
    src = pathlib.Path(sys.argv[1])
    problems = self_test()
    device = {src / folder for folder in DEVICE_FOLDERS}
    for folder in device:
        if not folder.is_dir():
            problems.append(f"{folder} not found")
    for path in sorted(src.rglob("*")):
        if path.suffix not in SUFFIXES:
            continue
        text = path.read_text()
        in_device_folder = any(folder in path.parents for folder in device)
        if not in_device_folder and not submits_kernels(text):
            continue
        lines = text.splitlines()
        for number in bindings_in(text):
            problems.append(f"{path.relative_to(src.parent)}:{number}: structured binding in "
                            f"device code: {lines[number - 1].strip()}")
    for problem in problems:
        print(problem)
    if problems:
        print(f"{len(problems)} problem(s): bind to a named record or to named variables instead")
        return 1
    print("no structured bindings in device code")
    return 0


if __name__ == "__main__":
    sys.exit(main())
