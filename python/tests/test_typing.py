# SPDX-License-Identifier: Apache-2.0
"""The package is typed: every public function says what it takes, and the stub of the extension is up to date."""
import inspect
import pathlib
import subprocess
import sys

import pytest

import canlog

PACKAGE = pathlib.Path(__file__).resolve().parents[1] / "canlog"


def test_the_stub_is_that_of_the_extension(tmp_path):
    pytest.importorskip("nanobind")
    made = tmp_path / "_core.pyi"
    subprocess.run([sys.executable, "-m", "nanobind.stubgen", "-q", "--exclude-values", "-m", "canlog._core", "-o", made],
                   check=True)
    first, _, rest = (PACKAGE / "_core.pyi").read_text().partition("\n")
    assert first == "# SPDX-License-Identifier: Apache-2.0"
    assert rest == made.read_text()


def test_the_package_is_marked_as_typed():
    assert (pathlib.Path(canlog.__file__).parent / "py.typed").exists()


def test_public_functions_are_annotated():
    functions = [value for value in vars(canlog).values() if inspect.isfunction(value) and value.__module__.startswith("canlog")]
    for class_ in (canlog.Log, canlog.Batch, canlog.Report, canlog.SignalTable, canlog.Signals):
        functions += [value for value in vars(class_).values() if inspect.isfunction(value)]
    assert len(functions) > 30
    for function in functions:
        signature = inspect.signature(function)
        for name, parameter in signature.parameters.items():
            # Comparing and hashing are written by dataclasses.
            if name not in ("self", "other") and function.__name__ not in ("__init__", "__eq__", "__hash__", "__setattr__", "__delattr__"):
                assert parameter.annotation is not inspect.Parameter.empty, (function.__qualname__, name)
