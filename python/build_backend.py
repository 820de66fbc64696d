"""Builds the package for pip, from the tree and with the standard library alone: pip install ./python"""
import base64
import hashlib
import pathlib
import re
import zipfile

HERE = pathlib.Path(__file__).resolve().parent
HEADER = HERE.parent / "version" / "version.h"  # the version stands there and nowhere else


def get_requires_for_build_wheel(config_settings=None):
    return []


def _files():
    version = re.search(r'VENDORDIAG_VERSION "(.+)"', HEADER.read_text()).group(1)
    info = f"vdiag-{version}.dist-info"
    files = {f"vdiag/{path.name}": path.read_bytes() for path in sorted((HERE / "vdiag").glob("*.py*")) if path.is_file()}
    files["vdiag/py.typed"] = b""
    files[f"{info}/METADATA"] = f"Metadata-Version: 2.1\nName: vdiag\nVersion: {version}\nRequires-Python: >=3.9\n".encode()
    files[f"{info}/WHEEL"] = b"Wheel-Version: 1.0\nGenerator: vdiag\nRoot-Is-Purelib: true\nTag: py3-none-any\n"
    files[f"{info}/entry_points.txt"] = b"[pytest11]\nvdiag = vdiag.pytest_plugin\n"
    record = "".join(f"{name},sha256={_digest(content)},{len(content)}\n" for name, content in files.items())
    files[f"{info}/RECORD"] = (record + f"{info}/RECORD,,\n").encode()
    return version, files


def _digest(content):
    return base64.urlsafe_b64encode(hashlib.sha256(content).digest()).rstrip(b"=").decode()


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    version, files = _files()
    name = f"vdiag-{version}-py3-none-any.whl"
    with zipfile.ZipFile(pathlib.Path(wheel_directory) / name, "w", zipfile.ZIP_DEFLATED) as wheel:
        for path, content in files.items():
            wheel.writestr(zipfile.ZipInfo(path), content)
    return name
