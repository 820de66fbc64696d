"""A library for a keyword-driven test framework: each method is a keyword, texts go in, and a failure is an exception."""
from __future__ import annotations

import vdiag


class PhoneKeywords:
    def __init__(self) -> None:
        self._phone: vdiag.Phone | None = None

    def open_phone(self, address: str) -> None:
        self.close_phone()
        self._phone = vdiag.connect(address)

    def close_phone(self) -> None:
        if self._phone is not None:
            self._phone.close()
            self._phone = None

    def send_command(self, name: str, *arguments: str) -> dict:
        """Sends a command by its name, such as `ftm ReadWifimac`, and returns the answer's fields."""
        command = self._phone
        for word in name.split():
            command = getattr(command, word.replace("-", "_"))
        return command(*arguments).fields

    def field_should_be(self, name: str, field: str, expected: str) -> None:
        found = str(self.send_command(name)[field])
        if found != expected:
            raise AssertionError(f"{name}: {field} is {found}, not {expected}")
