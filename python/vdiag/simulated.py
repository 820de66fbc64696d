"""Simulated phones, started and ended by the program that uses them."""
from __future__ import annotations

import re
import shutil
import signal
import subprocess
import tempfile
from types import TracebackType
from typing import List, Type

from .errors import Failure
from .phone import Phone, connect


class SimulatedPhone:
    """A fresh simulated phone, or several of them, for as long as the object is open.

        with vdiag.SimulatedPhone() as simulated, simulated.connect() as phone:
            phone.version()

    `addresses` and `roots` have one entry for each; scale: factor of every fixed delay; program: vdiag-phone.
    """

    def __init__(self, count: int = 1, scale: float = 0.1, program: str = "vdiag-phone", client: str = "vdiag") -> None:
        self._client = client
        self._program = program
        self._directory = tempfile.mkdtemp(prefix="vdiag-")
        root = self._directory + "/phone"
        try:
            self._process = subprocess.Popen(
                [program, "--root", root, "--count", str(count), "--scale", str(scale), "--fresh"],
                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        except OSError as error:
            shutil.rmtree(self._directory, ignore_errors=True)
            raise Failure(f"cannot start {program}: {error}") from error
        self.roots: List[str] = [root] if count == 1 else [f"{root}-{n}" for n in range(1, count + 1)]
        self.addresses: List[str] = []
        assert self._process.stdout is not None
        while len(self.addresses) < count:
            line = self._process.stdout.readline()
            if not line:
                self.close()
                raise Failure(f"{program} ended before its phones served")
            found = re.match(r"\S+ serves at (\S+)", line)
            if found:
                self.addresses.append(found.group(1))

    def connect(self, number: int = 1, timeout: str | None = None) -> Phone:
        """Opens one of the phones, counted from 1."""
        return connect(self.addresses[number - 1], timeout=timeout, program=self._client)

    def press(self, *codes: int, device: str = "event0", number: int = 1) -> None:
        """Presses and releases keys, by their codes."""
        subprocess.run([self._program, "--root", self.roots[number - 1], "press", device, *map(str, codes)], check=True)

    def close(self) -> None:
        """Ends the phones and removes their files."""
        self._process.send_signal(signal.SIGTERM)
        self._process.communicate()
        shutil.rmtree(self._directory, ignore_errors=True)

    def __enter__(self) -> SimulatedPhone:
        return self

    def __exit__(self, kind: Type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        self.close()
