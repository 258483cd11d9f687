"""Prints, for every Matrix Market file of a folder, statistics of the matrix as SciPy reads it:
name, rows, cols, stored entries after symmetry expansion, the sum of the values and a sum
weighted by position. The C++ reader's tests compare against these lines."""
import os
import sys

import numpy as np
from scipy.io import mmread

folder = sys.argv[1]
for name in sorted(os.listdir(folder)):
    if not name.endswith(".mtx"):
        continue
    m = mmread(os.path.join(folder, name)).tocoo()
    data = m.data.astype(np.complex128)
    weight = (m.row.astype(np.float64) * 7.0 + m.col.astype(np.float64) * 3.0 + 1.0)
    total = data.sum()
    weighted = (data * weight).sum()
    print(name, m.shape[0], m.shape[1], m.nnz,
          repr(float(total.real)), repr(float(total.imag)),
          repr(float(weighted.real)), repr(float(weighted.imag)))
