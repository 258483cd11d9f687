#!/usr/bin/python3
"""Runs the driver's sort_matrix and omatcopy on one Matrix Market file and compares with SciPy:
the sorted matrix must hold the same entries with each row in ascending column order, and the
copies and (conjugate) transposes must equal SciPy's after sorting rows.

usage: driver_format_vs_scipy.py DRIVER MATRIX
"""
import io
import itertools
import subprocess
import sys

import numpy as np
import scipy.io
import scipy.sparse

DTYPE = {"s": np.float32, "d": np.float64, "c": np.complex64, "z": np.complex128}


def run(driver, args):
    done = subprocess.run([driver] + args, capture_output=True, text=True)
    if done.returncode != 0:
        raise RuntimeError(" ".join(args) + "\n" + done.stderr)
    return scipy.io.mmread(io.StringIO(done.stdout))


def same_entries(got, want):
    """Equal as sparse matrices, entry by entry and exactly (values are copied, not computed)."""
    got = scipy.sparse.csr_matrix(got)
    want = scipy.sparse.csr_matrix(want)
    if got.shape != want.shape or got.nnz != want.nnz:
        return False
    got.sort_indices()
    want.sort_indices()
    return (np.array_equal(got.indptr, want.indptr) and np.array_equal(got.indices, want.indices)
            and np.array_equal(got.data, want.data))


def main():
    driver, matrix = sys.argv[1], sys.argv[2]
    A = scipy.sparse.coo_matrix(scipy.io.mmread(matrix))
    is_complex = np.iscomplexobj(A.data)
    values = ["c", "z"] if is_complex else ["s", "d", "z"]
    rotation = itertools.cycle([(32, 0, "usm", "csr"), (64, 1, "buffer", "csr"),
                                (32, 1, "usm", "coo"), (64, 0, "buffer", "csr")])
    failures = 0
    for value in values:
        index, base, memory, fmt = next(rotation)
        common = ["--matrix", matrix, "--value", value, "--index", str(index), "--base", str(base),
                  "--memory", memory, "--device", "emu-a2"]
        Av = A.astype(DTYPE[value]) if value in "cz" else A.real.astype(DTYPE[value])
        checks = []
        for op in ["n", "t", "c"]:
            want = {"n": Av, "t": Av.T, "c": Av.conj().T}[op]
            # The CPU device transposes CSR in the host engine.
            for device in ["emu-a2", "cpu"]:
                got = run(driver, common + ["--format", fmt, "--routine", "omatcopy", "--op", op,
                                            "--device", device])
                checks.append((f"omatcopy --op {op} --format {fmt} on {device}",
                               same_entries(got, want)))
        # The sorted matrix: the same entries, and the file lists each row's columns ascending;
        # on the emulated GPU and on the CPU (the host engine).
        for device in ["emu-a2", "cpu"]:
            text = subprocess.run([driver] + common + ["--routine", "sort_matrix", "--device", device],
                                  capture_output=True, text=True, check=True).stdout
            got = scipy.io.mmread(io.StringIO(text))
            lines = [l.split() for l in text.splitlines()[2:] if l.strip()]
            keys = [(int(l[0]), int(l[1])) for l in lines]
            checks.append((f"sort_matrix on {device}", same_entries(got, Av) and keys == sorted(keys)))
        for what, ok in checks:
            print(("ok   " if ok else "FAIL ") + " ".join(common[2:]) + " " + what)
            failures += 0 if ok else 1
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
