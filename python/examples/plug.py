"""A plug for a plug-based test framework: opened once for a run, handed to its phases, and torn down whatever happened."""
from __future__ import annotations

import vdiag


class PhonePlug:
    address: str | None = None  # the framework's configuration sets it

    def __init__(self) -> None:
        self.phone = vdiag.connect(self.address)

    def tearDown(self) -> None:
        self.phone.close()


def measure_battery(measurements: dict, phone: PhonePlug) -> bool:
    """A phase: records a value, and tells whether it is within its limits."""
    measurements["battery_percent"] = phone.phone.battery().capacity
    return 20 <= measurements["battery_percent"] <= 100
