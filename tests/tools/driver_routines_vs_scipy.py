#!/usr/bin/python3
"""Runs the driver's gemvdot, symv, trmv, trsv, trsm, gemm and matmat on one Matrix Market file
on the CPU device (gemv, gemvdot, symv, trmv, trsv, trsm and gemm on emulated GPUs too, and
matmat's row estimate on emulated GPUs alone) in
several variants (value types, index widths, bases, memory models, formats, operations,
triangles, diagonals, layouts, column counts, memory of y, with and without optimize, with the
diagonal replaced between two runs on emulated GPUs) and compares each result with SciPy/NumPy
on the same matrix and the same deterministic inputs.

Each matrix runs a fixed list of variants; the value type and set-up of a variant rotate with the
matrix's place in its folder, so that over the corpus every variant meets every value type.
Variants of the emulated GPUs that rotate over profiles, column counts, layouts and operations do
so by the same place.

Products are compared entry by entry with a bound that grows with the row length and the
magnitudes the row adds. Solves run on the driver's --dominant matrix and are checked by their
residual op(T) y - alpha x, which substitution keeps within a few roundings of |op(T)| |y| per
row whatever the conditioning; on emulated GPUs trsv is also compared with SciPy's triangular
solve, within the residual bound carried through the inverse of the comparison matrix. Routines
on square matrices only are skipped for rectangular ones.

usage: driver_routines_vs_scipy.py DRIVER MATRIX
"""
import io
import itertools
import math
import os
import re
import subprocess
import sys
import tempfile

import numpy as np
import scipy.io
import scipy.sparse
import scipy.sparse.linalg

EPS = {"s": np.finfo(np.float32).eps, "d": np.finfo(np.float64).eps,
       "c": np.finfo(np.float32).eps, "z": np.finfo(np.float64).eps}
# Below the smallest normal number roundings are absolute.
TINY = {"s": np.finfo(np.float32).tiny, "d": np.finfo(np.float64).tiny,
        "c": np.finfo(np.float32).tiny, "z": np.finfo(np.float64).tiny}
DTYPE = {"s": np.float32, "d": np.float64, "c": np.complex64, "z": np.complex128}
# Sparse products take about a second per 300k entries to write and read: above the first
# size one product runs, above the second the matrix is multiplied by a selection matrix.
MANY_PRODUCTS, LARGE_PRODUCT = 100000, 500000
# Reading a matrix this large costs the driver a quarter of a second: every other variant runs.
LARGE_MATRIX = 150000


def x_dense(rows, cols, real):
    r, c = np.arange(rows)[:, None], np.arange(cols)[None, :]
    return 1.0 + ((r + 2 * c) % 7) / 4.0 + (0 if real else 1j * ((r + c) % 3) / 2.0)


def y_dense(rows, cols, real):
    r, c = np.arange(rows)[:, None], np.arange(cols)[None, :]
    return 0.5 - ((r + 3 * c) % 5) / 8.0 + (0 if real else 1j * ((r + c) % 4) / 4.0)


def dominant(A):
    """The driver's --dominant: row i divided by the smallest power of two above 4 n_i m_i,
    then 1 added to the diagonal."""
    A = scipy.sparse.coo_matrix(A)
    data = A.data.astype(np.complex128)
    mag = np.maximum(np.abs(data.real), np.abs(data.imag))
    largest = np.zeros(A.shape[0])
    np.maximum.at(largest, A.row, mag)
    count = np.bincount(A.row[mag != 0], minlength=A.shape[0])
    _, exponent = np.frexp(4.0 * count * largest)
    scale = np.where(largest > 0, np.ldexp(1.0, exponent), 1.0)[A.row]
    scaled = data.real / scale + 1j * (data.imag / scale)
    eye = scipy.sparse.eye(A.shape[0], A.shape[1], dtype=np.complex128, format="csr")
    return scipy.sparse.csr_matrix((scaled, (A.row, A.col)), shape=A.shape) + eye


def with_new_diagonal(A, value):
    """A after the driver's --update-diagonal: entry (i, i) replaced by 4 + (i mod 5) / 2
    + i (i mod 2) / 4 (imaginary part for complex values only)."""
    i = np.arange(min(A.shape))
    d = 4.0 + (i % 5) / 2.0 + (0 if value in "sd" else 1j * (i % 2) / 4.0)
    A = scipy.sparse.lil_matrix(A)
    A.setdiag(d)
    return scipy.sparse.csr_matrix(A)


def bound_values(A, value):
    """A as the driver binds it: values rounded to the value type, computed on in double."""
    A = scipy.sparse.csr_matrix(A)
    if value in "sd":
        A = scipy.sparse.csr_matrix(A.real)
    B = A.astype(DTYPE[value]).astype(np.complex128 if value in "cz" else np.float64)
    B.sort_indices()
    return B


def op_of(A, op):
    return scipy.sparse.csr_matrix({"n": A, "t": A.T, "c": A.T.conj()}[op])


def triangle(A, uplo, diag):
    T = scipy.sparse.tril(A, 0 if diag == "nonunit" else -1) if uplo == "lower" else \
        scipy.sparse.triu(A, 0 if diag == "nonunit" else 1)
    if diag == "unit":
        T = T + scipy.sparse.eye(A.shape[0], dtype=A.dtype)
    return scipy.sparse.csr_matrix(T)


def lengths(M):
    return np.diff(scipy.sparse.csr_matrix(M).indptr)


def run(driver, args):
    done = subprocess.run([driver] + args, capture_output=True, text=True)
    if done.returncode != 0:
        raise RuntimeError(" ".join(args) + "\n" + done.stderr)
    return done.stdout


def read_dense(text):
    dot = re.search(r"^% dot (\S+) (\S+)$", text, re.M)
    got = np.asarray(scipy.io.mmread(io.StringIO(text)))
    return got, (complex(float(dot.group(1)), float(dot.group(2))) if dot else None)


def within(got, want, bound):
    """The first entry off and a description, or None."""
    if got.shape != want.shape:
        return f"shape {got.shape} != {want.shape}"
    err = np.abs(got - want)
    bad = np.argwhere(~(err <= bound))
    if len(bad):
        k = tuple(bad[0])
        return (f"{len(bad)} entries off, first {k}: {got[k]} vs {want[k]} "
                f"(error {err[k]:.3g}, bound {bound[k]:.3g})")
    return None


def check_vector(value, got, want, scale, len_):
    """y against the reference: roundings grow with the row's length and magnitudes."""
    bound = 8 * EPS[value] * (len_ + 2) * scale + 8 * (len_ + 2) * TINY[value]
    return within(got.ravel(), want, bound)


def gemv_reference(args, A, real):
    """op(A), x, the exact alpha op(A) x + beta y and its magnitude bound, from the inputs."""
    op, alpha, beta = args["--op"], args["alpha"], args["beta"]
    opA = op_of(A, op)
    x = x_dense(opA.shape[1], 1, real).ravel()
    y = y_dense(opA.shape[0], 1, real).ravel()
    want = alpha * (opA @ x) + beta * y
    scale = abs(alpha) * (abs(opA) @ abs(x)) + abs(beta) * abs(y)
    return opA, x, want, scale


def check_gemv(args, value, A, real):
    opA, _, want, scale = gemv_reference(args, A, real)
    return lambda text: check_vector(value, read_dense(text)[0], want, scale, lengths(opA))


def check_gemvdot(args, value, A, real):
    opA, x, want, scale = gemv_reference(args, A, real)

    def check(text):
        got, dot = read_dense(text)
        problem = check_vector(value, got, want, scale, lengths(opA))
        if problem:
            return problem
        # d from the y the driver wrote: only its own summation rounds.
        m = min(A.shape)
        got = got.ravel()
        dot_want = np.sum(x[:m] * got[:m])
        dot_bound = 8 * EPS[value] * (m + 2) * np.sum(np.abs(x[:m]) * np.abs(got[:m])) + TINY[value]
        if dot is None or not abs(dot - dot_want) <= dot_bound:
            return f"dot {dot} vs {dot_want} (bound {dot_bound:.3g})"
        return None
    return check


def check_symv(args, value, A, real):
    uplo, alpha, beta = args["--uplo"], args["alpha"], args["beta"]
    if uplo == "lower":
        S = scipy.sparse.tril(A) + scipy.sparse.tril(A, -1).T
    else:
        S = scipy.sparse.triu(A) + scipy.sparse.triu(A, 1).T
    S = scipy.sparse.csr_matrix(S)
    x = x_dense(A.shape[1], 1, real).ravel()
    y = y_dense(A.shape[0], 1, real).ravel()
    want = alpha * (S @ x) + beta * y
    scale = abs(alpha) * (abs(S) @ abs(x)) + abs(beta) * abs(y)
    return lambda text: check_vector(value, read_dense(text)[0], want, scale, lengths(S))


def check_trmv(args, value, A, real):
    alpha, beta = args["alpha"], args["beta"]
    T = op_of(triangle(A, args["--uplo"], args["--diag"]), args["--op"])
    x = x_dense(A.shape[1], 1, real).ravel()
    y = y_dense(A.shape[0], 1, real).ravel()
    want = alpha * (T @ x) + beta * y
    scale = abs(alpha) * (abs(T) @ abs(x)) + abs(beta) * abs(y)
    return lambda text: check_vector(value, read_dense(text)[0], want, scale, lengths(T))


def residual_check(value, T, rhs, got):
    """op(T) Y = rhs within the backward error of substitution, row by row."""
    if not np.all(np.isfinite(got)):
        return "result not finite"
    residual = T @ got - rhs
    scale = abs(T) @ np.abs(got) + np.abs(rhs)
    len_ = lengths(T)[:, None] if got.ndim == 2 else lengths(T)
    bound = 8 * EPS[value] * (len_ + 2) * scale + 8 * (len_ + 2) * TINY[value]
    return within(residual, np.zeros_like(residual), bound)


def scipy_solve_check(value, A, uplo, diag, rhs, got):
    """y against SciPy's triangular solve. The solutions differ by at most M(T)^-1 (r1 + r2),
    with M(T) the comparison matrix (|diagonal|, minus |off-diagonal|) and r the substitution's
    residual bound of each solve."""
    lower = uplo == "lower"
    unit = diag == "unit"
    # The triangle with its stored diagonal (the dominant matrix has every one): SciPy's unit
    # solve skips the stored diagonal entry rather than assuming it absent.
    S = scipy.sparse.csr_matrix(scipy.sparse.tril(A) if lower else scipy.sparse.triu(A))
    want = scipy.sparse.linalg.spsolve_triangular(S.astype(np.complex128), rhs.astype(np.complex128),
                                                  lower=lower, unit_diagonal=unit)
    if not np.iscomplexobj(got):
        want = want.real
    T = triangle(A, uplo, diag)
    magnitude = scipy.sparse.csr_matrix(abs(T))
    M = scipy.sparse.csr_matrix(2 * scipy.sparse.diags(magnitude.diagonal()) - magnitude)
    len_ = lengths(T)
    residual = 8 * EPS[value] * (len_ + 2) * (magnitude @ np.abs(want) + np.abs(rhs)) \
        + 8 * (len_ + 2) * TINY[value]
    bound = 4 * scipy.sparse.linalg.spsolve_triangular(M, 2 * residual, lower=lower)
    return within(got, want, bound)


def check_trsv(args, value, A, real):
    alpha = args["alpha"] if "--alpha" in args else 1.0
    T = op_of(triangle(A, args["--uplo"], args["--diag"]), args["--op"])
    rhs = alpha * x_dense(A.shape[0], 1, real).ravel()

    def check(text):
        got = read_dense(text)[0].ravel()
        problem = residual_check(value, T, rhs, got)
        if problem or args["device"] == "cpu":
            return problem
        return scipy_solve_check(value, A, args["--uplo"], args["--diag"], rhs, got)
    return check


def check_trsm(args, value, A, real):
    alpha = args["alpha"]
    T = op_of(triangle(A, args["--uplo"], args["--diag"]), args["--op"])
    rhs = alpha * x_dense(A.shape[0], int(args["--columns"]), real)

    def check(text):
        got = read_dense(text)[0]
        problem = residual_check(value, T, rhs, got)
        if problem or args["device"] == "cpu":
            return problem
        for c in range(got.shape[1]):
            problem = scipy_solve_check(value, A, args["--uplo"], args["--diag"], rhs[:, c],
                                        got[:, c])
            if problem:
                return f"column {c}: {problem}"
        return None
    return check


def check_gemm(args, value, A, real):
    alpha, beta, n = args["alpha"], args["beta"], int(args["--columns"])
    opA = op_of(A, args["--op"])
    B = x_dense(opA.shape[1], n, real)
    C = y_dense(opA.shape[0], n, real)
    want = alpha * (opA @ B) + beta * C
    scale = abs(alpha) * (abs(opA) @ np.abs(B)) + abs(beta) * np.abs(C)
    len_ = lengths(opA)[:, None]
    bound = 8 * EPS[value] * (len_ + 2) * scale + 8 * (len_ + 2) * TINY[value]
    return lambda text: within(read_dense(text)[0], want, bound)


def check_matmat(args, value, A, real):
    B = A
    if args.get("--matrix-b", "") and args["--matrix-b"] != args["matrix"]:
        B = bound_values(scipy.io.mmread(args["--matrix-b"]), value)
    opA, opB = op_of(A, args["--op"]), op_of(B, args["--op-b"])
    want = scipy.sparse.csr_matrix(opA @ opB)
    # Every product of stored entries is an entry of C, zero or not.
    structure = scipy.sparse.csr_matrix(pattern(opA) @ pattern(opB))
    scale = scipy.sparse.csr_matrix(abs(opA) @ abs(opB))

    def check(text):
        got = scipy.sparse.coo_matrix(scipy.io.mmread(io.StringIO(text)))
        if got.shape != want.shape:
            return f"shape {got.shape} != {want.shape}"
        keys = got.row.astype(np.int64) * got.shape[1] + got.col
        if len(np.unique(keys)) != len(keys):
            return "duplicate entries"
        s = scipy.sparse.coo_matrix(structure)
        if got.nnz != s.nnz or not np.array_equal(np.sort(keys),
                                                  np.sort(s.row.astype(np.int64) * s.shape[1] + s.col)):
            return f"pattern: {got.nnz} entries, the product of the patterns has {s.nnz}"
        got = scipy.sparse.csr_matrix(got)
        diff = (got - want).toarray() if got.shape[0] * got.shape[1] <= 4e6 else None
        if diff is None:  # large products: entry by entry on the structure
            d = scipy.sparse.coo_matrix(got - want)
            sc = np.asarray(scale[d.row, d.col]).ravel()
            len_ = lengths(opA)[d.row]
            bound = 8 * EPS[value] * (len_ + 2) * sc + 8 * (len_ + 2) * TINY[value]
            return within(np.abs(d.data), np.zeros(len(d.data)), bound)
        len_ = lengths(opA)[:, None]
        bound = 8 * EPS[value] * (len_ + 2) * scale.toarray() + 8 * (len_ + 2) * TINY[value]
        return within(diff, np.zeros_like(diff), bound)
    return check


def check_matmat_estimate(args, value, A, real):
    """The device's row estimate of op(A) op(B): exact counts of the product's pattern from the
    dense bitmap, upper bounds from the hashed estimate, which runs when op(B) has more than
    65536 columns and A's or B's rows are short on average; the total is the counts' sum."""
    opA, opB = op_of(A, args["--op"]), op_of(A, args["--op-b"])
    exact = np.diff(scipy.sparse.csr_matrix(pattern(opA) @ pattern(opB)).indptr)
    def average(M):
        return M.nnz // M.shape[0] if M.shape[0] > 0 else 0
    hashed = opB.shape[1] > 65536 and (average(opA) < 5 or average(opB) < 17)

    def check(text):
        total = re.search(r"^% estimate (-?\d+)$", text, re.M)
        if total is None:
            return "no estimate line"
        got = np.real(read_dense(text)[0]).astype(np.int64).ravel()
        if got.shape != exact.shape:
            return f"{got.shape[0]} rows, C has {exact.shape[0]}"
        if int(total.group(1)) != int(got.sum()):
            return f"total {total.group(1)} != sum of the counts {got.sum()}"
        bad = np.nonzero(got < exact if hashed else got != exact)[0]
        if len(bad):
            r = bad[0]
            return (f"{len(bad)} rows off, row {r}: {got[r]}, the product's pattern has "
                    f"{exact[r]} ({'hashed' if hashed else 'dense'} estimate)")
        return None
    return check


CHECKS = {"gemv": check_gemv, "gemvdot": check_gemvdot, "symv": check_symv, "trmv": check_trmv,
          "trsv": check_trsv, "trsm": check_trsm, "gemm": check_gemm, "matmat": check_matmat,
          "matmat_estimate": check_matmat_estimate}


def selection(n):
    """n x n with one entry a row, in column 7 j mod n: A times it has at most A's entries."""
    j = np.arange(n)
    return scipy.sparse.csr_matrix((1.0 + (j % 3) / 2.0, (j, (7 * j) % n)), shape=(n, n))


def pattern(M):
    P = scipy.sparse.csr_matrix(M, copy=True)
    P.data = np.ones_like(P.data, dtype=np.float64)
    return P


# Emulated GPU profiles that the rotating device variants go through; gemm on code 6 has a
# variant of its own, and the profile without double precision runs single-precision values.
GPUS = ["emu-a0", "emu-a1", "emu-a2", "emu-a3", "emu-a4", "emu-a5", "emu-a6"]
GEMM_GPUS = ["emu-a0", "emu-a1", "emu-a2", "emu-a3", "emu-a4", "emu-a5", "emu-a1-nofp64"]
NO_DOUBLES = "emu-a1-nofp64"
# Column counts of the device gemm: around the sub-group widths and tile sizes (8, 16, 32, 64,
# 128) and the explicit-SIMD limit of 127, one each per run.
GEMM_COLUMNS = [1, 7, 8, 9, 16, 17, 31, 32, 33, 64, 127, 128, 129, 300]
# Device gemm variants per matrix, and the column offset between them in GEMM_COLUMNS: the four
# largest counts (and so the costliest runs) never meet on one matrix.
GEMM_RUNS = 3
GEMM_COLUMN_STEP = 5
# A device gemm does at most this many products of an entry with a row of B (columns times
# entries) and writes at most GEMM_OUTPUT entries of C: above either the column count is cut to
# the largest listed count within both.
GEMM_WORK = 12_000_000
GEMM_OUTPUT = 500_000
# COO's product without atomics scans every entry for each element of y: it runs where that
# stays below this many steps.
COO_GATHER_WORK = 20_000_000
# A value type turns fully over this many consecutive places: a rotating choice keeps its option
# that long, so that its options do not pair with the same value types.
TURN = 4


def pick(place, options, salt=0):
    """The option of a rotating choice for the matrix at this place of the corpus."""
    return options[(place // TURN + salt) % len(options)]


def device_gemm(place, r, is_complex, nnz, rows):
    """Device gemm variant r of the matrix at this place: the column counts, layouts and
    operations go round independently, one run per matrix on code 6 (explicit SIMD with a real
    value type up to 127 columns, staged in column-major; sub-group blocks above), the others
    over the remaining profiles; some with beta 0 (C then holds NaN) or padded leading
    dimensions."""
    g = GEMM_RUNS * place + r
    columns = GEMM_COLUMNS[(place + GEMM_COLUMN_STEP * r) % len(GEMM_COLUMNS)]
    def fits(c):
        return c * nnz <= GEMM_WORK and c * rows <= GEMM_OUTPUT
    if not fits(columns):
        cut = max([c for c in GEMM_COLUMNS if fits(c)] or [1])
        print(f"device gemm variant {r}: {columns} columns cut to {cut} ({nnz} entries, "
              f"{rows} rows)")
        columns = cut
    opts = {"--layout": ["col", "row"][(g // len(GEMM_COLUMNS)) % 2],
            "--columns": str(columns), "--op": "ntc"[(place + r) % 3]}
    if g % 4 == 1:
        opts["beta"] = 0
    if g % 5 == 2:
        opts["--ld-pad"] = "1"
    if r == 0:
        opts["--device"] = "emu-a6"
        if not is_complex:
            opts["--value"] = "sd"[(place // 2) % 2]
    else:
        device = GEMM_GPUS[((GEMM_RUNS - 1) * place + r - 1) % len(GEMM_GPUS)]
        opts["--device"] = device
        if device == NO_DOUBLES:
            opts["--value"] = "c" if is_complex else "s"
    return opts


def plan(A, matrix, selection_file, place):
    """The variants for this matrix: (routine, options) pairs, and how many were skipped."""
    square = A.shape[0] == A.shape[1]
    is_complex = np.iscomplexobj(A.data)
    skipped = 0
    runs = [("gemvdot", {"--op": op}) for op in ["n", "t", "c", "n"]]
    runs[1][1]["--optimize"] = None
    if square:
        runs += [("symv", {"--uplo": "lower"}), ("symv", {"--uplo": "upper", "beta": 0})]
        # The device forms on emulated GPUs: CSR only, and gemvdot without an operation.
        runs += [("gemvdot", {"--op": "n", "--device": "emu-a2"}),
                 ("symv", {"--uplo": "upper", "--device": "emu-a6"}),
                 ("symv", {"--uplo": "lower", "beta": 0, "--device": "emu-a3"})]
        runs += [("trmv", {"--uplo": "lower", "--op": "n", "--diag": "nonunit"}),
                 ("trmv", {"--uplo": "upper", "--op": "t", "--diag": "unit", "--optimize": None}),
                 ("trmv", {"--uplo": "upper", "--op": "c", "--diag": "nonunit"})]
        runs += [("trsv", {"--uplo": "lower", "--op": "n", "--diag": "nonunit"}),
                 ("trsv", {"--uplo": "upper", "--op": "t", "--diag": "nonunit", "--alpha": None,
                           "--optimize": None}),
                 ("trsv", {"--uplo": "lower", "--op": "c", "--diag": "unit", "--alpha": None}),
                 ("trsv", {"--uplo": "upper", "--op": "n", "--diag": "unit", "--optimize": None})]
        # trsv on emulated GPUs: the default solve in both triangles and diagonals, and the
        # level-set solve after optimize_trsv.
        runs += [("trsv", {"--uplo": "lower", "--op": "n", "--diag": "nonunit",
                           "--device": "emu-a3"}),
                 ("trsv", {"--uplo": "upper", "--op": "n", "--diag": "unit", "--alpha": None,
                           "--device": "emu-a5"}),
                 ("trsv", {"--uplo": "upper", "--op": "n", "--diag": "nonunit", "--alpha": None,
                           "--device": "emu-a0"}),
                 ("trsv", {"--uplo": "lower", "--op": "n", "--diag": "unit", "--device": "emu-a6"}),
                 ("trsv", {"--uplo": "lower", "--op": "n", "--diag": "nonunit", "--optimize": None,
                           "--device": "emu-a4"}),
                 ("trsv", {"--uplo": "upper", "--op": "n", "--diag": "unit", "--optimize": None,
                           "--device": "emu-a2"})]
        # trmv on emulated GPUs: the default product on the full rows in both triangles and
        # diagonals, and the planned product on the strict triangle after optimize_trmv (code 6
        # plans merge path with sub-groups of 32 where the rows are spread widely).
        runs += [("trmv", {"--uplo": "lower", "--op": "n", "--diag": "nonunit",
                           "--device": "emu-a2"}),
                 ("trmv", {"--uplo": "upper", "--op": "n", "--diag": "unit", "beta": 0,
                           "--device": "emu-a4"}),
                 ("trmv", {"--uplo": "lower", "--op": "n", "--diag": "unit", "--optimize": None,
                           "--device": "emu-a6"}),
                 ("trmv", {"--uplo": "upper", "--op": "n", "--diag": "nonunit", "--optimize": None,
                           "--device": "emu-a3"})]
        runs += [("trsm", {"--layout": "row", "--columns": "1", "--uplo": "lower", "--op": "n",
                           "--diag": "nonunit"}),
                 ("trsm", {"--layout": "col", "--columns": "3", "--uplo": "upper", "--op": "t",
                           "--diag": "unit", "--ld-pad": "2", "--optimize": None}),
                 ("trsm", {"--layout": "row", "--columns": "5", "--uplo": "lower", "--op": "c",
                           "--diag": "nonunit", "--ld-pad": "1"}),
                 ("trsm", {"--layout": "col", "--columns": "2", "--uplo": "upper", "--op": "n",
                           "--diag": "nonunit"})]
        # trsm on emulated GPUs: the default solve (its flagged form on code 6) and the tile
        # solve after optimize_trsm, over profiles, layouts and column counts around the blocks.
        runs += [("trsm", {"--layout": pick(place, ["row", "col"]),
                           "--columns": pick(place, ["1", "17", "33"], 1), "--uplo": "lower",
                           "--op": "n", "--diag": "nonunit", "--device": pick(place, GPUS)}),
                 ("trsm", {"--layout": pick(place, ["col", "row"], 2),
                           "--columns": pick(place, ["16", "5", "40"], 3), "--uplo": "upper",
                           "--op": "n", "--diag": "unit", "--ld-pad": "2", "--optimize": None,
                           "--device": pick(place, GPUS, 4)}),
                 ("trsm", {"--layout": "row", "--columns": "20", "--uplo": "upper", "--op": "n",
                           "--diag": "nonunit", "--device": "emu-a6"}),
                 ("trsm", {"--layout": "col", "--columns": "33", "--uplo": "lower", "--op": "n",
                           "--diag": "nonunit", "--optimize": None,
                           "--device": pick(place, GPUS, 5)})]
    runs += [("gemm", {"--layout": "row", "--columns": "1", "--op": "n"}),
             ("gemm", {"--layout": "col", "--columns": "4", "--op": "t", "--ld-pad": "2", "beta": 0}),
             ("gemm", {"--layout": "row", "--columns": "7", "--op": "c", "--ld-pad": "1"}),
             ("gemm", {"--layout": "col", "--columns": "3", "--op": "n"})]
    products = [("n", "n"), ("t", "n"), ("n", "c")] if square else [("t", "n"), ("n", "t")]
    if A.nnz > LARGE_MATRIX:
        print(f"skipped {len(runs) - len(runs[::2])} of {len(runs)} vector and dense variants: "
              f"{A.nnz} entries")
        skipped += len(runs) - len(runs[::2])
        runs = runs[::2]
    # gemv on emulated GPUs (cheap, on every matrix): transposed CSR products by column scatter
    # and COO's transposed product with atomics; y in host USM (CSR: the explicit transpose and
    # row kernels; COO: the kernel without atomics; symv: the scatter by one work-item) or in
    # shared USM (the column scatter's atomics).
    runs += [("gemv", {"--op": "t", "--device": pick(place, GPUS)}),
             ("gemv", {"--op": "c", "--device": pick(place, GPUS, 3)}),
             ("gemv", {"--op": "t", "--format": "coo", "--device": pick(place, GPUS, 5)}),
             ("gemv", {"--op": "t", "--y-memory": pick(place, ["host", "shared"]),
                       "--device": pick(place, GPUS, 1)})]
    coo_op = pick(place, ["n", "t", "c"])
    if A.shape[0 if coo_op == "n" else 1] * A.nnz <= COO_GATHER_WORK:
        runs.append(("gemv", {"--op": coo_op, "--format": "coo", "--y-memory": "host",
                              "--device": pick(place, GPUS, 2)}))
    else:
        print(f"skipped COO gemv on host y: {A.nnz} entries scanned for each element of y")
        skipped += 1
    if square:
        runs.append(("symv", {"--uplo": pick(place, ["upper", "lower"]), "--y-memory": "host",
                              "--device": pick(place, GPUS, 4)}))
    gemm_runs = GEMM_RUNS
    if A.nnz > LARGE_MATRIX:
        gemm_runs -= 1
        print(f"skipped 1 of {GEMM_RUNS} device gemm variants: {A.nnz} entries")
        skipped += 1
    runs += [("gemm", device_gemm(place, r, is_complex, A.nnz, max(A.shape)))
             for r in range(gemm_runs)]
    if square:
        # The diagonal replaced on the device between two runs of the routine: the second run
        # must follow it without a new analysis (the level-set solves after optimize_trsv and
        # optimize_trsm, the default solve, which reads the caller's values and the diagonal
        # record, and the planned trmv, which reads the diagonal record beside its triangle).
        runs += [("trsv", {"--uplo": pick(place, ["lower", "upper"]), "--op": "n",
                           "--diag": "nonunit", "--optimize": None, "--update-diagonal": None,
                           "--device": pick(place, GPUS, 6)}),
                 ("trsv", {"--uplo": pick(place, ["upper", "lower"]), "--op": "n",
                           "--diag": "nonunit", "--update-diagonal": None,
                           "--device": pick(place, GPUS, 2)}),
                 ("trsm", {"--layout": pick(place, ["col", "row"]),
                           "--columns": pick(place, ["3", "17"], 1),
                           "--uplo": pick(place, ["upper", "lower"], 2), "--op": "n",
                           "--diag": "nonunit", "--optimize": None, "--update-diagonal": None,
                           "--device": pick(place, GPUS, 3)}),
                 ("trmv", {"--uplo": pick(place, ["lower", "upper"], 1), "--op": "n",
                           "--diag": "nonunit", "--optimize": None, "--update-diagonal": None,
                           "--device": pick(place, GPUS, 4)})]
    P = pattern(A)
    # The device's row estimates of A A, A A^T and A^T A (the square forms of A's own handle).
    estimates = ([("n", "n")] if square else []) + [("n", "t"), ("t", "n")]
    for k, (op_a, op_b) in enumerate(estimates):
        runs.append(("matmat_estimate", {"--op": op_a, "--op-b": op_b, "--format": "csr",
                                         "--device": pick(place, GPUS, k)}))
    first = P @ P if square else P.T @ P
    if first.nnz > LARGE_PRODUCT:
        print(f"skipped {len(products)} products with A itself ({first.nnz} entries): "
              "A times a selection matrix instead")
        skipped += len(products)
        runs.append(("matmat", {"--op": "n", "--op-b": "t", "--format": "csr",
                                "--matrix-b": selection_file}))
        return runs, skipped
    if first.nnz > MANY_PRODUCTS:
        print(f"skipped {len(products) - 1} of {len(products)} products ({first.nnz} entries)")
        skipped += len(products) - 1
    for k, (op_a, op_b) in enumerate(products[:1] if first.nnz > MANY_PRODUCTS else products):
        opts = {"--op": op_a, "--op-b": op_b, "--format": "csr"}
        if k == 1:
            opts["--matrix-b"] = matrix
        runs.append(("matmat", opts))
    return runs, skipped


def run_variant(driver, matrix, A, Adom, routine, opts, value, setup):
    """Runs one variant and prints its verdict; 1 on a failure."""
    index, base, memory, fmt = setup
    # A variant may pin its value type (the explicit-SIMD gemm takes real values only).
    value = opts.pop("--value", value)
    real = value in "sd"
    own_format = "--format" in opts
    fmt = opts.pop("--format", fmt)
    device = opts.pop("--device", "cpu")
    if device != "cpu" and not own_format:
        fmt = "csr"  # the device gemvdot, symv, trsv and gemm serve CSR matrices
    if "--y-memory" in opts:
        memory = "usm"
    # The CPU device reads COO dense operands in only two base and layout pairs, and plans
    # solves of CSR matrices only.
    if routine in ("trsm", "gemm") and (base, opts["--layout"]) not in ((0, "row"), (1, "col")):
        fmt = "csr"
    if routine == "trsm" and "--optimize" in opts:
        fmt = "csr"
    alpha = complex(1.5, 0 if real else -0.5)
    beta = complex(-0.5, 0 if real else 0.25) if opts.pop("beta", None) is None else 0j
    solve = routine in ("trsv", "trsm")
    opts = dict(opts, alpha=alpha, beta=beta, matrix=matrix, device=device)
    args = ["--matrix", matrix, "--routine", routine, "--device", device, "--value", value,
            "--index", str(index), "--base", str(base), "--memory", memory, "--format", fmt]
    for key, val in opts.items():
        if key in ("alpha", "beta", "matrix", "device"):
            continue
        if key == "--alpha":
            args += ["--alpha", f"{alpha.real},{alpha.imag}"]
        elif val is None:
            args.append(key)
        else:
            args += [key, val]
    products = ("matmat", "matmat_estimate")
    if routine not in ("trsv",) + products:
        args += ["--alpha", f"{alpha.real},{alpha.imag}"]
    if not solve and routine not in products:
        args += ["--beta", f"{beta.real},{beta.imag}"]
    # A diagonal update needs every diagonal entry stored: --dominant inserts the missing ones.
    updated = "--update-diagonal" in opts
    if solve or updated:
        args.append("--dominant")
    Av = bound_values(Adom if solve or updated else A, value)
    if updated:
        Av = with_new_diagonal(Av, value)
    check = CHECKS[routine](opts, value, Av, real)
    what = " ".join(args[2:])
    try:
        problem = check(run(driver, args))
    except RuntimeError as e:
        problem = f"driver failed: {e}"
    if problem:
        print(f"FAIL {what}: {problem}")
        return 1
    print(f"ok   {what}")
    return 0


# Index width, base, memory model and format.
SETUPS = [(32, 0, "usm", "csr"), (64, 1, "buffer", "csr"), (32, 1, "buffer", "coo"),
          (64, 0, "usm", "coo"), (64, 1, "usm", "csr"), (32, 0, "buffer", "csr")]


def assignments(count, values, place):
    """(value, set-up) of run k of the matrix at this place of the corpus: both rotate with
    every run, and after each full turn of the two rotations together the set-ups shift by one,
    so that any len(values) * len(SETUPS) consecutive runs meet every pair. The rotation starts
    at the place, so that a variant at a fixed position meets every value type over the corpus."""
    turn = math.lcm(len(values), len(SETUPS))
    return [(values[j % len(values)], SETUPS[(j + j // turn) % len(SETUPS)])
            for j in range(place, place + count)]


def place_of(matrix):
    """The matrix's place among the Matrix Market files of its folder, in name order."""
    folder, name = os.path.split(os.path.abspath(matrix))
    names = sorted(f for f in os.listdir(folder) if f.endswith(".mtx"))
    return names.index(name) if name in names else 0


def main():
    driver, matrix = sys.argv[1], sys.argv[2]
    A = scipy.sparse.csr_matrix(scipy.io.mmread(matrix))
    is_complex = np.iscomplexobj(A.data)
    values = ["c", "z"] if is_complex else ["s", "d", "c", "z"]
    Adom = dominant(A)
    failures = 0
    with tempfile.TemporaryDirectory() as scratch:
        selection_file = os.path.join(scratch, "selection.mtx")
        scipy.io.mmwrite(selection_file, selection(A.shape[1]))
        place = place_of(matrix)
        runs, skipped = plan(A, matrix, selection_file, place)
        # Short plans (rectangular or large matrices) are filled up with gemvdot, the cheapest
        # routine, so that every set-up runs with every value type.
        ops = itertools.cycle(["n", "t", "c"])
        while len(runs) < len(values) * len(SETUPS):
            runs.append(("gemvdot", {"--op": next(ops)}))
        for (routine, opts), (value, setup) in zip(runs, assignments(len(runs), values, place)):
            failures += run_variant(driver, matrix, A, Adom, routine, opts, value, setup)
    print(f"{len(runs) - failures} ok, {failures} failed, {skipped} skipped")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
