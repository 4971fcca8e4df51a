"""The packages that the build has made, and what they are to hold."""

import os
import pathlib

BUILD = pathlib.Path(os.environ["ORVANTA_BUILD"])
QT = pathlib.Path(os.environ["ORVANTA_QT_WINDOWS"])
SOURCE = pathlib.Path(__file__).resolve().parents[2]

NAME = "OrvantaConfigurator-3.2.0-win64"
ZIP = BUILD / "packages" / f"{NAME}.zip"
INSTALLER = BUILD / "packages" / f"{NAME}.exe"
PROGRAM = "OrvantaConfigurator.exe"

FILES = set((pathlib.Path(__file__).parent / "files.txt").read_text().split())
