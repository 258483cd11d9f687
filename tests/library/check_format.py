"""Fails when a C or C++ source of the repository differs from what clang-format makes of it
with the repository's .clang-format. Lists each such file and the first differing line.

Usage: check_format.py REPO_DIR [CLANG_FORMAT]
"""
import pathlib
import subprocess
import sys

SUFFIXES = {".c", ".cc", ".cpp", ".h", ".hpp", ".inc"}
# Inputs that are data, not code: fuzz seeds.
SKIP_PARTS = {"corpus"}


def sources(repo: pathlib.Path) -> list[pathlib.Path]:
    try:
        listed = subprocess.run(["git", "-C", str(repo), "ls-files"], check=True,
                                capture_output=True, text=True).stdout.splitlines()
        files = [repo / name for name in listed]
    except (OSError, subprocess.CalledProcessError):
        files = [p for p in repo.rglob("*") if "build" not in p.relative_to(repo).parts[:1]]
    return sorted(p for p in files if p.suffix in SUFFIXES and p.is_file()
                  and not SKIP_PARTS.intersection(p.relative_to(repo).parts))


def main() -> int:
    repo = pathlib.Path(sys.argv[1]).resolve()
    tool = sys.argv[2] if len(sys.argv) > 2 else "clang-format"
    unformatted = 0
    for path in sources(repo):
        original = path.read_text()
        formatted = subprocess.run([tool, f"--assume-filename={path}", "--style=file"],
                                   input=original, capture_output=True, text=True, check=True,
                                   cwd=repo).stdout
        if formatted == original:
            continue
        unformatted += 1
        for number, (old, new) in enumerate(zip(original.splitlines(), formatted.splitlines()), 1):
            if old != new:
                break
        else:
            number = min(len(original.splitlines()), len(formatted.splitlines())) + 1
        print(f"{path.relative_to(repo)}:{number}: not formatted")
    print(f"{unformatted} files not formatted" if unformatted else "every source is formatted")
    return 1 if unformatted else 0


if __name__ == "__main__":
    sys.exit(main())
