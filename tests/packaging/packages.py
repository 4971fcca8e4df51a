"""The packages that the build has made, and what they must contain."""

import os
import pathlib
import zipfile

BUILD = pathlib.Path(os.environ["ORVANTA_BUILD"])
PACKAGES = pathlib.Path(os.environ["ORVANTA_PACKAGES"])
QT = pathlib.Path(os.environ["ORVANTA_QT_WINDOWS"])
SOURCE = pathlib.Path(__file__).resolve().parents[2]

VERSION = os.environ["ORVANTA_VERSION"]
CUSTOMER = os.environ["ORVANTA_CUSTOMER_ID"]
CUSTOMER_NOTE = f"For the customer {CUSTOMER}."
if CUSTOMER == "EXAMPLE-CUSTOMER":
    CUSTOMER_NOTE = f"For no customer: {CUSTOMER} is an example, for which no driver opens."
NAME = os.environ["ORVANTA_PACKAGE_NAME"]
ZIP = PACKAGES / f"{NAME}.zip"
MSI = PACKAGES / f"{NAME}.msi"
SOURCES = PACKAGES / f"OrvantaConfigurator-{VERSION}-third-party-sources.tar"
PROGRAM = "OrvantaConfigurator.exe"
API_LIBRARY = BUILD / "simulator" / "Brelvix.dll"

FOLDER = pathlib.Path(__file__).parent
FILES = set((FOLDER / "files.txt").read_text().split())
RUNNABLE = {file for file in FILES if file.endswith((".dll", ".exe"))}
WINDOWS_LIBRARIES = set((FOLDER / "windows-libraries.txt").read_text().split())


def read_zip():
    """Returns the bytes of each file by its path within the package's folder."""
    with zipfile.ZipFile(ZIP) as package:
        return {name.removeprefix(f"{NAME}/"): package.read(name) for name in package.namelist()}
