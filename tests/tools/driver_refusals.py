#!/usr/bin/python3
"""The driver's refusals, one class of bad option, input or output per run: each case checks the
exit status and that standard error is exactly the one expected line.

usage: driver_refusals.py DRIVER CLASS
"""
import os
import re
import subprocess
import sys
import tempfile

PREFIX = "vrt_sparse_driver: "
HEADER = "%%MatrixMarket matrix coordinate real general\n"
SEE_HELP = " (see --help)"


class Case:
    """message: the line after the prefix, or a compiled pattern it must match in full, or None
    for a run that succeeds silently."""

    def __init__(self, args, message, status=2, stdout=None, close_stdout=False):
        self.args, self.message, self.status = args, message, status
        self.stdout, self.close_stdout = stdout, close_stdout


def write(folder, name, text):
    path = os.path.join(folder, name)
    with open(path, "w") as f:
        f.write(text)
    return path


def options_cases(folder):
    m = write(folder, "small.mtx", HEADER + "2 2 2\n1 1 4\n2 2 5\n")
    bad = lambda option, value, expected: Case(
        ["--matrix", m, option, value], f"{option} '{value}': expected {expected}{SEE_HELP}")
    return [
        Case(["--matrix", m, "--frobnicate"], "unknown option '--frobnicate'" + SEE_HELP),
        Case(["--matrix"], "--matrix needs a value" + SEE_HELP),
        Case(["--routine", "gemv"], "--matrix FILE is required" + SEE_HELP),
        bad("--index", "32abc", "32 or 64"),
        bad("--index", "16", "32 or 64"),
        bad("--base", "01", "0 or 1"),
        bad("--value", "q", "s, d, c or z"),
        bad("--routine", "gemmm", "gemv, gemvdot, symv, trmv, trsv, trsm, gemm, matmat, "
            "matmat_estimate, sort_matrix or omatcopy"),
        bad("--memory", "shared", "usm or buffer"),
        bad("--format", "csc", "csr or coo"),
        bad("--op", "x", "n, t or c"),
        bad("--op-b", "N", "n, t or c"),
        bad("--uplo", "both", "lower or upper"),
        bad("--diag", "1", "nonunit or unit"),
        bad("--layout", "rows", "row or col"),
        bad("--columns", "0", "a whole number from 1 to 9223372036854775807"),
        bad("--columns", "3x", "a whole number from 1 to 9223372036854775807"),
        bad("--columns", "99999999999999999999", "a whole number from 1 to 9223372036854775807"),
        bad("--ld-pad", "-1", "a whole number from 0 to 9223372036854775807"),
        bad("--alpha", "1,2,3", "RE or RE,IM of real numbers"),
        bad("--alpha", "2.5abc", "RE or RE,IM of real numbers"),
        bad("--beta", "0x1p", "RE or RE,IM of real numbers"),
        Case(["--matrix", m, "--value", "d", "--alpha", "1,2"],
             "--alpha '1,2': an imaginary part needs --value c or z" + SEE_HELP),
        Case(["--matrix", m, "--beta", "0,-1", "--value", "s"],
             "--beta '0,-1': an imaginary part needs --value c or z" + SEE_HELP),
        Case(["--matrix", m, "--routine", "gemm", "--optimize"],
             "--optimize: gemm has no optimize routine (gemv, gemvdot, trmv, trsv or trsm have)"
             + SEE_HELP),
        Case(["--matrix", m, "--matrix-b", m],
             "--matrix-b: only matmat and matmat_estimate take a second matrix, not gemv" + SEE_HELP),
        Case(["--matrix", m, "--device", "nowhere"],
             "--device 'nowhere': unknown emulated GPU profile 'nowhere'" + SEE_HELP),
        # A real scalar written with a zero imaginary part stays accepted.
        Case(["--matrix", m, "--value", "d", "--alpha", "2,0"], None, status=0),
    ]


def overflow_cases(folder):
    m = write(folder, "small.mtx", HEADER + "2 2 2\n1 1 4\n2 2 5\n")
    dense = lambda *extra: ["--matrix", m, "--routine", "gemm", *extra]
    return [
        Case(dense("--columns", str(2**62)),
             f"--columns {2**62} with --ld-pad 0: the dense operands' sizes overflow 64 bits"),
        Case(dense("--ld-pad", str(2**62), "--layout", "col"),
             f"--columns 3 with --ld-pad {2**62}: the dense operands' sizes overflow 64 bits"),
        Case(dense("--columns", str(2**63 - 1), "--ld-pad", "1"),
             f"--columns {2**63 - 1} with --ld-pad 1: the dense operands' sizes overflow 64 bits"),
        Case(["--matrix", write(folder, "tall.mtx", HEADER + f"{2**62} 1 0\n"), "--index", "64"],
             os.path.join(folder, "tall.mtx") + ": the matrix's arrays overflow 64 bits"),
    ]


def too_large_cases(folder):
    m = write(folder, "small.mtx", HEADER + "2 2 2\n1 1 4\n2 2 5\n")
    memory = os.sysconf("SC_PHYS_PAGES") * os.sysconf("SC_PAGE_SIZE")
    columns = 2**40
    # The count is the driver's estimate: its own copies of the operands, not asserted here.
    return [Case(["--matrix", m, "--routine", "gemm", "--columns", str(columns)],
                 re.compile(f"--columns {columns} with --ld-pad 0: needs [0-9]+ bytes, more "
                            f"than the {memory} bytes of this machine's memory"))]


def index_width_cases(folder):
    rows = write(folder, "rows.mtx", HEADER + "3000000000 2 1\n2999999999 1 1\n")
    cols = write(folder, "cols.mtx", HEADER + "2 2147483648 1\n1 2147483648 1\n")
    fix = " do not fit --index 32 (at most 2147483647); use --index 64"
    return [
        Case(["--matrix", rows], rows + ":2: 3000000000 rows" + fix),
        Case(["--matrix", cols, "--routine", "sort_matrix", "--index", "32"],
             cols + ":2: 2147483648 columns" + fix),
        # The same matrix at 64 bits: sort_matrix allocates only by entries and rows.
        Case(["--matrix", cols, "--routine", "sort_matrix", "--index", "64"], None, status=0),
    ]


def numbers_cases(folder):
    def entry(name, body, count=1):
        return write(folder, name, HEADER + f"2 2 {count}\n" + body)
    comma = entry("comma.mtx", "1 1 2,5\n")
    suffix = entry("suffix.mtx", "1 1 2.5abc\n")
    hexa = entry("hex.mtx", "1 1 0x1p3\n2 2 nan(1)\n", count=2)
    extra = entry("extra.mtx", "1 1 2.5 7\n")
    more = entry("more.mtx", "1 1 1\n2 2 2\n")
    fewer = entry("fewer.mtx", "1 1 1\n", count=2)
    special = entry("special.mtx", "1 1 nan\n2 2 1e400\n", count=2)
    return [
        Case(["--matrix", comma], comma + ":3: value '2,5' is not a real number"),
        Case(["--matrix", suffix], suffix + ":3: value '2.5abc' is not a real number"),
        Case(["--matrix", hexa], None, status=0),
        Case(["--matrix", extra], extra + ":3: an entry has 4 words, not 3 (row, column, value)"),
        Case(["--matrix", more], more + ":4: entry beyond the 1 that the size line declares"),
        Case(["--matrix", fewer], fewer + ":3: file ends after 1 of 2 entries"),
        Case(["--matrix", special], None, status=0),
    ]


def not_a_file_cases(folder):
    fifo = os.path.join(folder, "pipe")
    os.mkfifo(fifo)
    missing = os.path.join(folder, "missing.mtx")
    tail = ", not a regular Matrix Market file"
    return [
        Case(["--matrix", "/dev/zero"], "/dev/zero: is a character device" + tail),
        Case(["--matrix", folder], folder + ": is a folder" + tail),
        Case(["--matrix", fifo], fifo + ": is a fifo" + tail),
        Case(["--matrix", missing], missing + ": cannot open: No such file or directory"),
    ]


def output_cases(folder):
    m = write(folder, "small.mtx", HEADER + "2 2 2\n1 1 4\n2 2 5\n")
    full = "No space left on device"
    return [
        Case(["--matrix", m], "cannot write standard output: " + full, stdout="/dev/full"),
        Case(["--matrix", m, "--output", "/dev/full"], "cannot write /dev/full: " + full),
        Case(["--help"], "cannot write standard output: " + full, stdout="/dev/full"),
        Case(["--matrix", m], "cannot write standard output: Bad file descriptor",
             close_stdout=True),
        Case(["--matrix", m, "--output", os.path.join(folder, "no", "y.mtx")],
             f"cannot open {os.path.join(folder, 'no', 'y.mtx')}: No such file or directory"),
    ]


CLASSES = {"options": options_cases, "overflow": overflow_cases, "too_large": too_large_cases,
           "index_width": index_width_cases, "numbers": numbers_cases,
           "not_a_file": not_a_file_cases, "output": output_cases}


def run(driver, case):
    stdout = open(case.stdout, "w") if case.stdout else subprocess.PIPE
    try:
        done = subprocess.run([driver, *case.args], stdout=stdout, stderr=subprocess.PIPE,
                              stdin=subprocess.DEVNULL, text=True, timeout=120,
                              preexec_fn=(lambda: os.close(1)) if case.close_stdout else None)
    finally:
        if case.stdout:
            stdout.close()
    # The plan a GPU product ran with is a report, not a refusal: it is left out of the comparison.
    stderr = "".join(line for line in done.stderr.splitlines(True)
                     if not line.startswith(PREFIX + "gemv plan: "))
    problems = []
    if done.returncode != case.status:
        problems.append(f"exit status {done.returncode}, expected {case.status}")
    if isinstance(case.message, re.Pattern):
        if not re.fullmatch(re.escape(PREFIX) + case.message.pattern + "\n", stderr):
            problems.append(f"standard error {stderr!r}, expected {case.message.pattern!r}")
    else:
        want = "" if case.message is None else PREFIX + case.message + "\n"
        if stderr != want:
            problems.append(f"standard error {stderr!r}, expected {want!r}")
    if case.status != 0 and done.stdout:
        problems.append(f"standard output not empty: {done.stdout[:200]!r}")
    return problems


def main():
    driver, name = sys.argv[1], sys.argv[2]
    failures = 0
    with tempfile.TemporaryDirectory() as folder:
        for case in CLASSES[name](folder):
            problems = run(driver, case)
            what = " ".join(case.args)
            if problems:
                failures += 1
                print(f"FAIL {what}: " + "; ".join(problems))
            else:
                print(f"ok   {what}")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
