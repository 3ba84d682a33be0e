# SPDX-License-Identifier: MIT
"""What the tests of the package share."""

import os
import pathlib

import hypothesis
import pytest

# Machines that are busy are no failure, and nothing is written beside the tests.
hypothesis.settings.register_profile(
    "tovkit", deadline=None, database=None, max_examples=int(os.environ.get("TOVKIT_EXAMPLES", "60")),
    suppress_health_check=[hypothesis.HealthCheck.too_slow])
hypothesis.settings.load_profile("tovkit")


@pytest.fixture(scope="session")
def command() -> str:
    """The command of the same build."""
    return os.environ["TOVKIT_COMMAND"]


@pytest.fixture(scope="session")
def source() -> pathlib.Path:
    """The top of the source."""
    return pathlib.Path(__file__).resolve().parents[2]
