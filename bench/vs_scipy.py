#!/usr/bin/python3
"""The host sparse engine against SciPy on the same matrices: the sparse product A A, the
transpose and the row sort. SciPy runs in this process, the engine in bench_host_vs_scipy; the
two alternate, pass after pass, and each figure is a median of the passes' medians, so that the
slow swings of a shared machine hit both sides alike.

usage: vs_scipy.py BENCH_BINARY [--passes N] [--quick]

Matrices: a 2D 5-point Laplacian of 1M rows, a 3D 7-point Laplacian of 100^3, a band of 2M rows
with 27 entries a row (its product is too large to repeat: the product uses a band of 200k rows),
a power-law pattern of 1M rows and about 10M entries with five rows of 100k entries, and the
largest file of the shared matrices when that folder exists. --quick divides sizes by ten.
"""
import json
import os
import statistics
import subprocess
import sys
import tempfile
import time

import numpy as np
import scipy.io
import scipy.sparse as sp

HERE = os.path.dirname(os.path.abspath(__file__))
SHARED = os.path.normpath(os.path.join(HERE, "..", "..", "shared", "matrices"))


def laplacian_2d(side):
    one = sp.diags([-1.0, 2.0, -1.0], [-1, 0, 1], shape=(side, side))
    eye = sp.identity(side)
    return (sp.kron(eye, one) + sp.kron(one, eye)).tocsr()


def laplacian_3d(side):
    one = sp.diags([-1.0, 2.0, -1.0], [-1, 0, 1], shape=(side, side))
    eye = sp.identity(side)
    return (sp.kron(sp.kron(eye, eye), one) + sp.kron(sp.kron(eye, one), eye) +
            sp.kron(sp.kron(one, eye), eye)).tocsr()


def band(n, width):
    offsets = list(range(-(width // 2), width // 2 + 1))
    return sp.diags([np.full(n - abs(o), -1.0 - 1e-3 * (o % 7)) for o in offsets], offsets,
                    shape=(n, n), format="csr")


def power_law(n, entries, rng):
    u = rng.random(n)
    length = np.minimum(2000, (2.0 / (1.0 - u * 0.999) ** (1.0 / 1.2)).astype(np.int64))
    length = np.maximum(1, (length * (entries - 5 * 100000) / length.sum()).astype(np.int64))
    length[(np.arange(5) * 196613) % n] = 100000
    rows = np.repeat(np.arange(n), length)
    cols = rng.integers(0, n, size=rows.size)
    values = rng.uniform(-1.0, 1.0, size=rows.size)
    A = sp.coo_matrix((values, (rows, cols)), shape=(n, n)).tocsr()
    A.sum_duplicates()
    return (A + sp.identity(n, format="csr")).tocsr()


def shuffled_rows(A, rng):
    """The same rows with their entries in random order."""
    row = np.repeat(np.arange(A.shape[0]), np.diff(A.indptr))
    order = np.lexsort((rng.random(A.nnz), row))
    return A.indices[order].astype(np.int32), A.data[order]


def matrices(quick, rng):
    k = 10 if quick else 1
    yield "laplace2d", laplacian_2d(1000 // int(np.sqrt(k))), True
    yield "laplace3d", laplacian_3d(100 // (2 if quick else 1)), True
    yield "band", band(2000000 // k, 27), False
    yield "band200k", band(200000 // k, 27), True
    yield "powerlaw", power_law(1000000 // k, 10000000 // k, rng), True
    if os.path.isdir(SHARED):
        files = [os.path.join(SHARED, f) for f in os.listdir(SHARED) if f.endswith(".mtx")]
        if files:
            largest = max(files, key=os.path.getsize)
            A = sp.csr_matrix(scipy.io.mmread(largest)).astype(np.float64)
            yield os.path.splitext(os.path.basename(largest))[0], A, True


def write(folder, name, A, product, rng):
    A = sp.csr_matrix(A, dtype=np.float64)
    A.sort_indices()
    scol, sval = shuffled_rows(A, rng)
    with open(os.path.join(folder, name + ".meta"), "w") as f:
        f.write(f"{A.shape[0]} {A.shape[1]} {A.nnz} {int(product)}\n")
    A.indptr.astype(np.int32).tofile(os.path.join(folder, name + ".ptr"))
    A.indices.astype(np.int32).tofile(os.path.join(folder, name + ".col"))
    A.data.tofile(os.path.join(folder, name + ".val"))
    scol.tofile(os.path.join(folder, name + ".scol"))
    sval.tofile(os.path.join(folder, name + ".sval"))
    return A, scol, sval


def timed(fn, prepare=None, repeats=3):
    times = []
    for _ in range(repeats):
        arg = prepare() if prepare else None
        start = time.perf_counter()
        fn(arg)
        times.append(time.perf_counter() - start)
    return statistics.median(times) * 1e3


def scipy_pass(mats):
    out = {}
    for name, (A, scol, sval, product) in mats.items():
        if product:
            out["sp2m/" + name] = timed(lambda _: A @ A)
        out["transpose/" + name] = timed(lambda _: A.transpose().tocsr())

        def unsorted(A=A, scol=scol, sval=sval):
            B = sp.csr_matrix((sval.copy(), scol.copy(), A.indptr.copy()), shape=A.shape)
            B.has_sorted_indices = False
            return B
        out["sort/" + name] = timed(lambda B: B.sort_indices(), unsorted)
    return out


def engine_pass(binary, folder):
    env = dict(os.environ, VRT_BENCH_MATRICES=folder)
    done = subprocess.run([binary, "--benchmark_format=json", "--benchmark_repetitions=3",
                           "--benchmark_report_aggregates_only=true"],
                          capture_output=True, text=True, env=env, check=True)
    out = {}
    for b in json.loads(done.stdout)["benchmarks"]:
        if b.get("aggregate_name") == "median":
            out[b["run_name"].removesuffix("/real_time")] = b["real_time"]
    return out


def main():
    args = sys.argv[1:]
    if not args or args[0] in ("-h", "--help"):
        print(__doc__)
        return 0 if args else 2
    binary = os.path.abspath(args[0])
    passes = int(args[args.index("--passes") + 1]) if "--passes" in args else 5
    quick = "--quick" in args
    rng = np.random.default_rng(7)
    with tempfile.TemporaryDirectory() as folder:
        mats = {}
        for name, A, product in matrices(quick, rng):
            A, scol, sval = write(folder, name, A, product, rng)
            mats[name] = (A, scol, sval, product)
            print(f"{name}: {A.shape[0]} rows, {A.nnz} entries", file=sys.stderr)
        engine, peer = {}, {}
        for p in range(passes):
            for key, value in engine_pass(binary, folder).items():
                engine.setdefault(key, []).append(value)
            for key, value in scipy_pass(mats).items():
                peer.setdefault(key, []).append(value)
            print(f"pass {p + 1} of {passes} done", file=sys.stderr)
    threads = os.environ.get("OMP_NUM_THREADS", str(os.cpu_count()))
    print(f"engine threads: {threads}; SciPy {scipy.__version__} (serial); medians of {passes} passes, ms")
    print("| operation | matrix | engine | SciPy | ratio |")
    print("|---|---|---:|---:|---:|")
    for key in sorted(peer):
        if key not in engine:
            continue
        e, s = statistics.median(engine[key]), statistics.median(peer[key])
        op, name = key.split("/", 1)
        print(f"| {op} | {name} | {e:.2f} | {s:.2f} | {s / e:.2f}x |")
    return 0


if __name__ == "__main__":
    sys.exit(main())
