"""The classes of packages. Made by python/tests/stubs.py; do not edit."""

from korvinpackage._core import (
    PackageBase,
    PackageRequestRead,
    PackageRequestReadData,
    PackageRequestReadFile,
    PackageRequestReadMemData,
    PackageRequestWrite,
    PackageRequestWriteData,
    PackageRequestWriteFile,
    PackageRequestWriteIP,
    PackageRequestWriteMemData,
    SpecialPackageRequest,
)

__all__ = [
    "PackageBase",
    "PackageRequestRead",
    "PackageRequestReadData",
    "PackageRequestReadFile",
    "PackageRequestReadMemData",
    "PackageRequestWrite",
    "PackageRequestWriteData",
    "PackageRequestWriteFile",
    "PackageRequestWriteIP",
    "PackageRequestWriteMemData",
    "SpecialPackageRequest",
]
