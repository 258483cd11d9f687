#!/usr/bin/python3
"""Runs the driver's sort_matrix and omatcopy on one Matrix Market file and compares with SciPy:
the sorted matrix must hold the same entries with each row in ascending column order, and the
copies and (conjugate) transposes must equal SciPy's after sorting rows. Every set-up (index
width, base, memory model, format) runs with every value type.

usage: driver_format_vs_scipy.py DRIVER MATRIX
"""
import subprocess
import sys

import numpy as np
import scipy.io
import scipy.sparse

DTYPE = {"s": np.float32, "d": np.float64, "c": np.complex64, "z": np.complex128}
SETUPS = [(32, 0, "usm", "csr"), (64, 1, "buffer", "csr"), (32, 1, "usm", "coo"),
          (64, 0, "buffer", "coo")]
DEVICES = ["emu-a2", "cpu"]


class DriverFailed(Exception):
    pass


def run(driver, args):
    """The driver's coordinate output: shape, zero-based rows and columns in file order, values."""
    done = subprocess.run([driver] + args, capture_output=True, text=True)
    if done.returncode != 0:
        raise DriverFailed(done.stderr.strip())
    lines = done.stdout.split("\n")
    body = 1
    while lines[body].startswith("%"):
        body += 1
    rows, cols, count = (int(v) for v in lines[body].split())
    numbers = np.fromstring("\n".join(lines[body + 1:]), sep=" ")
    complex_values = "complex" in lines[0]
    width = 4 if complex_values else 3
    if numbers.size != count * width:
        raise DriverFailed(f"{numbers.size} numbers for {count} entries")
    table = numbers.reshape(count, width)
    values = table[:, 2] + 1j * table[:, 3] if complex_values else table[:, 2]
    return (rows, cols), table[:, 0].astype(np.int64) - 1, table[:, 1].astype(np.int64) - 1, values


def same_entries(got, want):
    """Equal as sparse matrices, entry by entry and exactly (values are copied, not computed);
    NaN is never equal."""
    shape, r, c, v = got
    want = scipy.sparse.csr_matrix(want)
    if shape != want.shape or len(v) != want.nnz:
        return False
    if len(v) and (r.min() < 0 or c.min() < 0 or r.max() >= shape[0] or c.max() >= shape[1]):
        return False
    got = scipy.sparse.csr_matrix((v, (r, c)), shape=shape)
    got.sort_indices()
    want.sort_indices()
    # Repeated (row, column) pairs would be summed: the count must survive the conversion.
    return (got.nnz == want.nnz and np.array_equal(got.indptr, want.indptr)
            and np.array_equal(got.indices, want.indices) and np.array_equal(got.data, want.data))


def main():
    driver, matrix = sys.argv[1], sys.argv[2]
    A = scipy.sparse.coo_matrix(scipy.io.mmread(matrix))
    is_complex = np.iscomplexobj(A.data)
    values = ["c", "z"] if is_complex else ["s", "d", "c", "z"]
    failures = 0
    for value in values:
        Av = A.astype(DTYPE[value]) if value in "cz" else A.real.astype(DTYPE[value])
        for index, base, memory, fmt in SETUPS:
            common = ["--matrix", matrix, "--value", value, "--index", str(index), "--base",
                      str(base), "--memory", memory]
            checks = []
            # Each operation on one device per set-up, the devices alternating between set-ups
            # of a format: every operation and format meets both devices for every value type.
            k = SETUPS.index((index, base, memory, fmt))
            for j, op in enumerate(["n", "t", "c"]):
                want = {"n": Av, "t": Av.T, "c": Av.conj().T}[op]
                # The CPU device transposes CSR in the host engine.
                device = DEVICES[(j + k) % 2]
                args = common + ["--format", fmt, "--routine", "omatcopy", "--op", op,
                                 "--device", device]
                checks.append((f"omatcopy --op {op} --format {fmt} on {device}",
                               lambda args=args, want=want: same_entries(run(driver, args), want)))
            # The sorted matrix (rows are sorted in CSR only): the same entries, and each row's
            # columns ascending in the order the driver lists them; on the emulated GPU and on
            # the CPU (the host engine) in turn.
            device = DEVICES[k % 2]
            args = common + ["--format", "csr", "--routine", "sort_matrix", "--device", device]

            def sorted_check(args=args):
                got = run(driver, args)
                keys = got[1] * got[0][1] + got[2]
                return same_entries(got, Av) and bool(np.all(np.diff(keys) >= 0))
            checks.append((f"sort_matrix --format csr on {device}", sorted_check))
            for what, check in checks:
                try:
                    ok, problem = check(), ""
                except DriverFailed as e:
                    ok, problem = False, f": driver failed: {e}"
                print(("ok   " if ok else "FAIL ") + " ".join(common[2:]) + " " + what + problem)
                failures += 0 if ok else 1
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
