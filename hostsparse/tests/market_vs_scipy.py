"""The engine against SciPy on every shared Matrix Market file: A x, A^T x (scattered and from
the transpose's rows) and A A (a sample of its rows when it is large), by the driver
market_driver.cpp. Exits 77 (skipped) without the matrices folder."""
import os
import subprocess
import sys
import tempfile

import numpy as np
import scipy.io
import scipy.sparse


def check_product(a, abs_a, path):
    """A A as the driver wrote it (every stride-th row) against SciPy's rows of the product:
    the same entries, each within rounding of the magnitudes summed there. Returns a problem
    or None, and a note on the sample."""
    raw = np.fromfile(path, dtype=np.int64)
    prows, pcols, count, stride = (int(v) for v in raw[:4])
    kept = np.arange(0, prows, stride)
    ptr = raw[4:5 + len(kept)]
    col = raw[5 + len(kept):5 + len(kept) + count]
    val = raw[5 + len(kept) + count:].view(np.complex128)
    if not np.iscomplexobj(a.data):
        val = val.real
    if (prows, pcols) != a.shape:
        return f"shape {(prows, pcols)}", ""
    got = scipy.sparse.csr_matrix((val, col, ptr), shape=(len(kept), pcols))
    want = scipy.sparse.csr_matrix(a[kept] @ a)
    scale = scipy.sparse.csr_matrix(abs_a[kept] @ abs_a)
    # Rows come out sorted, each column once: otherwise the sums below would hide a repeat.
    keys = np.repeat(np.arange(len(kept)), np.diff(ptr)) * pcols + col
    if not np.all(np.diff(keys) > 0):
        return "rows not sorted or a column repeated", ""
    # An entry missing from the result or not in the product differs by more than rounding.
    diff = scipy.sparse.coo_matrix(got - want)
    if diff.nnz == 0:
        return None, f", A A checked on one row in {stride}" if stride > 1 else ""
    at = scale[diff.row, diff.col]
    limit = np.asarray(at.toarray() if scipy.sparse.issparse(at) else at).ravel() * 1e-12 + 1e-300
    bad = ~(np.abs(diff.data) <= limit)
    if np.any(bad):
        k = np.argmax(bad)
        return f"entry ({kept[diff.row[k]]}, {diff.col[k]}) off by {abs(diff.data[k]):.3g}", ""
    return None, f", A A checked on one row in {stride}" if stride > 1 else ""


def main() -> int:
    driver, folder = sys.argv[1], sys.argv[2]
    if not os.path.isdir(folder):
        print(f"no matrices folder at {folder}: skipped")
        return 77
    files = sorted(f for f in os.listdir(folder) if f.endswith(".mtx"))
    if not files:
        print(f"no .mtx files in {folder}: skipped")
        return 77
    failures = 0
    for name in files:
        a = scipy.sparse.csr_matrix(scipy.io.mmread(os.path.join(folder, name)))
        complex_values = np.iscomplexobj(a.data)
        if not complex_values:
            a = a.astype(np.float64)
        rows, cols = a.shape

        def x_of(n):
            i = np.arange(n)
            x = 1.0 + (i % 7) / 7.0
            return x + 1j * ((i % 3) / 3.0) if complex_values else x

        with tempfile.TemporaryDirectory() as out:
            run = subprocess.run([driver, os.path.join(folder, name), out], capture_output=True, text=True)
            if run.returncode != 0:
                print(f"FAIL {name}: driver: {run.stderr.strip()}")
                failures += 1
                continue
            abs_a = abs(a)
            checks = [("Ax", a @ x_of(cols), abs_a @ abs(x_of(cols))),
                      ("ATx", a.T @ x_of(rows), abs_a.T @ abs(x_of(rows))),
                      ("ATx_optimized", a.T @ x_of(rows), abs_a.T @ abs(x_of(rows)))]
            bad = []
            for what, want, scale in checks:
                got = np.asarray(scipy.io.mmread(os.path.join(out, what + ".mtx"))).reshape(-1)
                # NaN is never within the bound.
                if got.shape != want.shape or np.any(
                        ~(np.abs(got - want) <= 1e-12 * (scale + 1e-300) + 1e-300)):
                    bad.append(what)
            sampled = ""
            if rows == cols:
                if not os.path.exists(os.path.join(out, "AA.bin")):
                    bad.append("AA missing")
                else:
                    problem, sampled = check_product(a, abs_a, os.path.join(out, "AA.bin"))
                    if problem:
                        bad.append("AA " + problem)
            if bad:
                print(f"FAIL {name}: {', '.join(bad)}")
                failures += 1
            else:
                print(f"ok   {name} ({rows}x{cols}, {a.nnz} entries{sampled})")
    print(f"{len(files) - failures} passed, {failures} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
