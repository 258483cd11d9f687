"""The engine against SciPy on every shared Matrix Market file: A x, A^T x (scattered and from
the transpose's rows) and A A, by the driver market_driver.cpp. Exits 77 (skipped) without the
matrices folder."""
import os
import subprocess
import sys
import tempfile

import numpy as np
import scipy.io
import scipy.sparse


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
                if got.shape != want.shape or np.any(np.abs(got - want) > 1e-12 * (scale + 1e-300) + 1e-300):
                    bad.append(what)
            if rows == cols and os.path.exists(os.path.join(out, "AA.bin")):
                raw = np.fromfile(os.path.join(out, "AA.bin"), dtype=np.int64)
                prows, pcols, count = (int(v) for v in raw[:3])
                ptr = raw[3:4 + prows]
                col = raw[4 + prows:4 + prows + count]
                val = raw[4 + prows + count:].view(np.complex128)
                if not complex_values:
                    val = val.real
                got = scipy.sparse.csr_matrix((val, col, ptr), shape=(prows, pcols))
                want = a @ a
                scale = abs_a @ abs_a
                diff = abs(got - want)
                # Every difference within rounding of the magnitudes summed at that entry.
                limit = scale.multiply(1e-12)
                if got.shape != want.shape or (diff - limit).max() > 1e-300:
                    bad.append("AA")
            if bad:
                print(f"FAIL {name}: {', '.join(bad)}")
                failures += 1
            else:
                print(f"ok   {name} ({rows}x{cols}, {a.nnz} entries)")
    print(f"{len(files) - failures} passed, {failures} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
