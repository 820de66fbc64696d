"""The version is the tree's: it stands in version/version.h and nowhere else."""
import pathlib
import re

from setuptools import setup

header = pathlib.Path(__file__).resolve().parent.parent / "version" / "version.h"
setup(version=re.search(r'VENDORDIAG_VERSION "(.+)"', header.read_text()).group(1))
