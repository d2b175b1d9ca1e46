# SPDX-License-Identifier: Apache-2.0
"""Fixtures: the program under test, and a folder for its files."""

import os
import shutil
from pathlib import Path

import pytest

import peers

ROOT = Path(__file__).resolve().parent.parent.parent


def pytest_addoption(parser):
    parser.addoption("--canlog", default=os.environ.get("CANLOG_PROGRAM", str(ROOT / "build/dev/bin/canlog")),
                     help="the program to compare; default: $CANLOG_PROGRAM or that of build/dev")


@pytest.fixture(scope="session")
def canlog(request):
    program = Path(request.config.getoption("--canlog"))
    if not program.exists():
        pytest.exit(f"no program {program}: build the target canlog, or name one with --canlog", 2)
    return peers.Canlog(program)


@pytest.fixture
def tool():
    """Runs a program of can-utils by its name and returns what it prints."""
    def run(name, *arguments, **options):
        if not shutil.which(name):
            if os.environ.get("CI") == "true":
                pytest.fail("needs can-utils")
            pytest.skip("needs can-utils")
        return peers.output_of(name, *arguments, **options)
    return run
