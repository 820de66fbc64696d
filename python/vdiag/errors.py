"""What can go wrong, by class of failure. `record` is what the client said, word for word."""
from __future__ import annotations

from typing import Any, Dict, Mapping, Type


class VdiagError(Exception):
    """Any failure of a command."""

    def __init__(self, text: str, record: Mapping[str, Any] | None = None) -> None:
        super().__init__(text)
        self.record: Dict[str, Any] = dict(record or {})


class Failure(VdiagError):
    """Something failed on this side: a file, a key, the client itself."""


class UsageError(VdiagError, ValueError):
    """A wrong command or argument; nothing was sent."""


class ConnectFailed(VdiagError, ConnectionError):
    """No connection to the phone."""


class TimedOut(VdiagError, TimeoutError):
    """No answer in time."""


class Ended(VdiagError, ConnectionError):
    """The connection ended, or an answer has the wrong form."""


class Refused(VdiagError):
    """The diag service refused the request with an error answer."""


class StatusError(VdiagError):
    """The command answered with a status that is no success: `status` and `status_text`."""

    @property
    def status(self) -> int:
        return int(self.record["status"])

    @property
    def status_text(self) -> str:
        return str(self.record.get("status_text", ""))


_CLASSES: Dict[str, Type[VdiagError]] = {
    "failure": Failure, "usage": UsageError, "connect": ConnectFailed, "timeout": TimedOut, "ended": Ended,
    "error": Refused, "status": StatusError,
}


def error_of(record: Mapping[str, Any]) -> VdiagError:
    """The exception that a record stands for."""
    return _CLASSES.get(str(record["class"]), VdiagError)(str(record.get("text", "")), record)
