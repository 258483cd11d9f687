#!/usr/bin/python3
"""Runs the command-line driver on one Matrix Market file in several variants and compares each
result with SciPy's product on the same matrix and the same deterministic inputs.

usage: driver_vs_scipy.py DRIVER MATRIX
"""
import io
import subprocess
import sys

import numpy as np
import scipy.io
import scipy.sparse

EPS = {"s": np.finfo(np.float32).eps, "d": np.finfo(np.float64).eps,
       "c": np.finfo(np.float32).eps, "z": np.finfo(np.float64).eps}


def inputs(n, count, real):
    j = np.arange(count)
    x = 1.0 + (j % 7) / 4.0 + (0 if real else 1j * (j % 3) / 2.0)
    i = np.arange(n)
    y = 0.5 - (i % 5) / 8.0 + (0 if real else 1j * (i % 4) / 4.0)
    return x, y


def run(driver, matrix, value, index, base, memory, fmt, device, alpha, beta, op="n",
        optimize=False, y_memory="device"):
    args = [driver, "--matrix", matrix, "--value", value, "--index", str(index), "--base", str(base),
            "--memory", memory, "--format", fmt, "--device", device, "--op", op,
            "--alpha", f"{alpha.real},{alpha.imag}", "--beta", f"{beta.real},{beta.imag}"]
    if optimize:
        args.append("--optimize")
    if y_memory != "device":
        args += ["--y-memory", y_memory]
    done = subprocess.run(args, capture_output=True, text=True)
    if done.returncode != 0:
        raise RuntimeError(" ".join(args) + "\n" + done.stderr)
    # The plan a GPU product ran with, as the driver reports it.
    plan = [line.split("gemv plan: ", 1)[1] for line in done.stderr.splitlines()
            if "gemv plan: " in line]
    what = " ".join(args[1:]) + (f" [{plan[0]}]" if plan else "")
    return np.asarray(scipy.io.mmread(io.StringIO(done.stdout))).ravel(), what


def main():
    driver, matrix = sys.argv[1], sys.argv[2]
    A = scipy.sparse.csr_matrix(scipy.io.mmread(matrix))
    is_complex = np.iscomplexobj(A.data)
    values = ["c", "z"] if is_complex else ["s", "d", "c", "z"]
    # Index width, base, memory model, device, operation, format and whether optimize_gemv runs
    # first: every set-up runs with every value type. On the CPU every operation and COO run as
    # well; on emulated GPUs the transposed products by column scatter (the vector family on code
    # 0, the sub-group family on code 3), COO products, the sub-group families on first use, and
    # the plans of optimize_gemv where the tables differ most (code 6 holds the merge path and the
    # 32-wide sub-group kernels).
    setups = [(32, 0, "usm", "emu-a2", "n", "csr", False),
              (64, 1, "buffer", "emu-a5", "n", "csr", False),
              (32, 1, "buffer", "cpu", "n", "csr", False),
              (64, 0, "usm", "emu-a0", "n", "csr", False),
              (64, 1, "usm", "cpu", "n", "csr", False),
              (32, 0, "buffer", "emu-a1", "n", "csr", False),
              (64, 1, "usm", "cpu", "t", "coo", False),
              (32, 0, "buffer", "cpu", "c", "csr", False),
              (32, 0, "usm", "emu-a0", "t", "csr", False),
              (64, 1, "buffer", "emu-a3", "c", "csr", False),
              (32, 1, "usm", "emu-a6", "n", "coo", False),
              (64, 0, "buffer", "emu-a2", "c", "coo", False),
              (64, 1, "buffer", "emu-a4", "n", "csr", False),
              (32, 0, "usm", "emu-a6", "n", "csr", True),
              (32, 1, "usm", "emu-a3", "n", "csr", True),
              (64, 0, "buffer", "emu-a6", "n", "csr", True)]
    configs = [(value,) + setup + ("device",) for value in values for setup in setups]
    # Set-ups that run once, in one value type (the first for real matrices, the second for
    # complex ones), the last field the USM kind of y: the 32-wide sub-group plan on first use,
    # the device without fp64, optimize_gemv on codes 4 and 5, the merge path with base 1 (on
    # matrices whose rows spread) by atomics and with host y, and host y of a transposed product,
    # which runs row-wise on an explicit transpose.
    once = [("d", "z", 64, 1, "usm", "emu-a6", "n", "csr", False, "device"),
            ("s", "c", 32, 0, "buffer", "emu-a1-nofp64", "n", "csr", False, "device"),
            ("z", "z", 64, 0, "usm", "emu-a4", "n", "csr", True, "shared"),
            ("s", "c", 32, 1, "buffer", "emu-a5", "n", "csr", True, "device"),
            ("c", "c", 32, 1, "buffer", "emu-a6", "n", "csr", True, "device"),
            ("d", "z", 64, 1, "usm", "emu-a6", "n", "csr", True, "host"),
            ("s", "c", 32, 0, "usm", "emu-a4", "t", "csr", False, "host")]
    configs += [(complex_value if is_complex else real_value,) + tuple(setup)
                for real_value, complex_value, *setup in once]
    failures = 0
    for value, index, base, memory, device, op, fmt, optimize, y_memory in configs:
        real = value in "sd"
        alpha = complex(1.5, 0 if real else -0.5)
        beta = complex(-0.5, 0 if real else 0.25)
        Ad = A.real.astype(np.float64) if real else A.astype(np.complex128)
        if op != "n":
            Ad = scipy.sparse.csr_matrix(Ad.T.conj() if op == "c" else Ad.T)
        x, y = inputs(Ad.shape[0], Ad.shape[1], real)
        want = alpha * (Ad @ x) + beta * y
        # Rounding of each row's sum grows with its length and the magnitudes it adds.
        scale = abs(alpha) * (abs(Ad) @ abs(x)) + abs(beta) * abs(y)
        lengths = np.diff(Ad.indptr)
        bound = 8 * EPS[value] * (lengths + 2) * scale + 1e-30
        try:
            got, what = run(driver, matrix, value, index, base, memory, fmt, device, alpha, beta,
                            op, optimize, y_memory)
        except RuntimeError as e:
            print(f"FAIL driver: {e}")
            failures += 1
            continue
        if got.shape != want.shape:
            print(f"FAIL {what}: shape {got.shape} != {want.shape}")
            failures += 1
            continue
        err = np.abs(got - want)
        # NaN fails: it is never within a bound.
        bad = np.nonzero(~(err <= bound))[0]
        if len(bad):
            k = bad[0]
            print(f"FAIL {what}: {len(bad)} entries off, first {k}: {got[k]} vs {want[k]} (bound {bound[k]})")
            failures += 1
        else:
            print(f"ok   {what}: max error {err.max() if len(err) else 0:.3g}")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
