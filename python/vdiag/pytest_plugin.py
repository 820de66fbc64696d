"""Fixtures for pytest: `simulated_phone` (fresh, for one test) and `phone` (a connection to it, or to --vdiag-connect)."""
from __future__ import annotations

from typing import Iterator

import pytest

from .phone import Phone, connect
from .simulated import SimulatedPhone


def pytest_addoption(parser: pytest.Parser) -> None:
    parser.addoption("--vdiag-connect", metavar="ADDRESS", help="a phone for the fixture `phone` instead of a simulated one")


@pytest.fixture
def simulated_phone() -> Iterator[SimulatedPhone]:
    with SimulatedPhone() as simulated:
        yield simulated


@pytest.fixture
def phone(request: pytest.FixtureRequest) -> Iterator[Phone]:
    address = request.config.getoption("--vdiag-connect")
    opened = connect(address) if address else request.getfixturevalue("simulated_phone").connect()
    with opened:
        yield opened
