# SPDX-License-Identifier: MIT
"""pytest tests/net/service --build BUILD [--long]"""
import os
import pathlib
import resource
import sys

import pytest

sys.path[:0] = [str(pathlib.Path(__file__).parent), str(pathlib.Path(__file__).resolve().parents[2] / "support")]
resource.setrlimit(resource.RLIMIT_NOFILE, (resource.getrlimit(resource.RLIMIT_NOFILE)[1],) * 2)
resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

from server import Server  # noqa: E402


def pytest_addoption(parser):
    parser.addoption("--build", default="build/release", help="the build to test")
    parser.addoption("--long", action="store_true", help="15 minutes of load instead of 2, or of 20 seconds where CI is set")


@pytest.fixture(scope="session")
def build(request):
    return pathlib.Path(request.config.getoption("--build")).resolve()


@pytest.fixture(scope="session")
def load_seconds(request):
    if request.config.getoption("--long"):
        return 900
    return 20 if os.environ.get("CI") else 120


@pytest.fixture
def start(build):
    """start(option...) is a server that ends with the test."""
    begun = []

    def begin(*options, **settings):
        begun.append(Server(build, *options, **settings))
        return begun[-1].__enter__()

    yield begin
    for server in begun:
        server.__exit__(None, None, None)
