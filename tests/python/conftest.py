"""Fixtures of the binding tests: a seeded generator and the reference program.

The reference program (qevo_pyref, tests/python/reference.cpp) computes every
expected result by calling the C++ library directly, so the tests compare the
binding with the library and never with itself. Its path comes from the
environment variable QEVO_PYREF, which ctest sets.
"""
import os
import subprocess

import numpy as np
import pytest


class Reference:
    """Runs `qevo_pyref CMD ARGS... INPUTS... OUTPUTS...` on raw array files."""

    def __init__(self, exe, tmp):
        self.exe, self.tmp = exe, tmp

    def __call__(self, cmd, *args, inputs=(), outputs=(np.uint8,)):
        ins = []
        for k, a in enumerate(inputs):
            ins.append(str(self.tmp / f"in{k}.bin"))
            np.ascontiguousarray(a).tofile(ins[-1])
        outs = [str(self.tmp / f"out{k}.bin") for k in range(len(outputs))]
        subprocess.run([self.exe, cmd, *map(str, args), *ins, *outs], check=True,
                       stdout=subprocess.DEVNULL)
        res = [np.fromfile(p, dtype=d) for p, d in zip(outs, outputs)]
        return res[0] if len(res) == 1 else res


@pytest.fixture
def ref(tmp_path):
    exe = os.environ.get("QEVO_PYREF")
    if not exe:
        pytest.fail("QEVO_PYREF is not set: run the suite through ctest (python_bindings)")
    return Reference(exe, tmp_path)


@pytest.fixture
def rng():
    return np.random.default_rng(20240611)

