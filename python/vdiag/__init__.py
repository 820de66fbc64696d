"""Factory diagnostics of phones.

    import vdiag

    with vdiag.connect("unix:/path/of/a/phone/.sim/diag") as phone:
        print(phone.ftm.ReadWifimac().mac)
        phone.info.set({"operator": "ABCD"})

Commands, their arguments and their help are those of the installed client's catalogue: help(phone.ftm.WriteVC) and
dir(phone.ftm) tell them. A command that fails raises the exception of its class of failure.
"""
from .errors import (ConnectFailed, Ended, Failure, Refused, StatusError, TimedOut, UsageError, VdiagError)
from .phone import Answer, Command, Phone, connect
from .simulated import SimulatedPhone

__all__ = ["Answer", "Command", "ConnectFailed", "Ended", "Failure", "Phone", "Refused", "SimulatedPhone", "StatusError",
           "TimedOut", "UsageError", "VdiagError", "connect"]
