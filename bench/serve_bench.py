"""Requests a second through `vdiag serve`, from one caller that does not wait for each answer: PATH leads to the programs."""
import pathlib
import subprocess
import sys
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "python"))
sys.dont_write_bytecode = True

import vdiag  # noqa: E402

COUNT = 50000
GOAL = 10000

with vdiag.SimulatedPhone(scale=0) as simulated:
    for command in ("version diag", "battery", "ftm ReadWifimac"):
        process = subprocess.Popen(["vdiag", "serve", "-c", simulated.addresses[0]], stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE)
        lines = b"".join(b'{"id": %d, "command": "%s"}\n' % (n, command.encode()) for n in range(COUNT))
        begin = time.monotonic()
        writer = threading.Thread(target=lambda: (process.stdin.write(lines), process.stdin.close()))
        writer.start()
        good = sum(b'"class":"done"' in line for line in process.stdout)
        seconds = time.monotonic() - begin
        writer.join()
        process.wait()
        assert good == COUNT, f"{COUNT - good} of {COUNT} requests failed"
        print(f"serve, {command:16} {COUNT / seconds:8.0f} requests/s   goal {GOAL}")
