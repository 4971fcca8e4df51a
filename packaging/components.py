#!/usr/bin/python3
"""Writes into a package's folder what it contains, from whom and under which licences: for people
licenses/NOTICES.txt, for programs licenses/components.spdx.json (SPDX 2.3).

usage: components.py FOLDER PACKAGE VERSION TIME QT_FOLDER

Qt's build recorded which entries of the qt_attribution.json files in Qt's source are part of its libraries."""

import dataclasses
import fnmatch
import hashlib
import json
import os
import pathlib
import re
import sys
import textwrap
import urllib.parse

LIST = "licenses/components.spdx.json"
HEAD = """\
Orvanta Configurator {version} contains these components of others, each under its licence. The texts that
several share stand at the end. All from the fourth on are within Qt's libraries. The program and Qt also
contain GCC's stack protector and MinGW-w64's start-up code.

Qt is used under the GNU Lesser General Public License, version 3. Its libraries may be replaced by other
builds of the same version: they are separate files that the program loads from its own folder. They are
built from Debian's source package without changes. That source and the scripts that build it are in
OrvantaConfigurator-{version}-third-party-sources.tar. For at least three years after you received the program,
and for as long as its maker, Fennory, supports it, Fennory gives that file to everybody who has the program
and asks for it, for no more than the cost of handing it over.
"""

# Debian's source package, licence, copyright, and files in the package.
LIBRARIES = [
    ("qt6-base", "LGPL-3.0-only OR GPL-2.0-only OR GPL-3.0-only",
     "Copyright (C) The Qt Company Ltd. and other contributors", ("Qt6*.dll", "*/q*.dll")),
    ("gcc-mingw-w64", "GPL-3.0-or-later WITH GCC-exception-3.1",
     "Copyright (C) Free Software Foundation, Inc.", ("libgcc_s_seh-1.dll", "libstdc++-6.dll")),
    ("mingw-w64", "MIT AND BSD-3-Clause AND ZPL-2.1",
     "Copyright (C) the mingw-w64 project, Lockless Inc. and other contributors", ("libwinpthread-1.dll",)),
]


@dataclasses.dataclass
class Component:
    name: str
    version: str
    license: str
    copyright: str
    purl: str
    text: str = ""
    files: tuple = ()  # patterns of the paths in the package

    def owns(self, path):
        return any(fnmatch.fnmatch(path, pattern) for pattern in self.files)


def libraries(qt_folder):
    versions = dict(line.split() for line in (qt_folder / "licenses" / "versions.txt").read_text().splitlines())
    for name, license, copyright, files in LIBRARIES:
        purl = f"pkg:deb/debian/{name}@{urllib.parse.quote(versions[name])}?arch=source"
        text = f"Files: {', '.join(files)}\n\nMore is in licenses\\{name}.txt."
        yield Component(name, versions[name], license, copyright, purl, text, files)


def attribution(entry, folder, purl, qt_version):
    """Makes a component of an entry. One without an address of its own is found in Qt's source."""
    version, copyright = entry.get("Version"), entry["Copyright"]
    purl = entry.get("PURL", purl).replace("$<VERSION>", version or "")
    copyright = "\n".join(copyright) if isinstance(copyright, list) else copyright
    text = (folder / entry["LicenseFile"]).read_text() if "LicenseFile" in entry else ""
    return Component(entry["Name"], version or f"in Qt {qt_version}", entry["LicenseId"], copyright, purl, text)


def attributions(qt_folder, qt):
    """Returns the components within Qt's libraries."""
    (record,) = (qt_folder / "sbom").glob("*.spdx")
    named = re.findall(r"/src_dir/qtbase/(\S+)/qt_attribution\.json\s+Entry index: (\d+)", record.read_text())
    # The others only build and test Qt.
    for path, index in sorted({entry for entry in named if not entry[0].startswith(("cmake/", "src/testlib/"))}):
        folder = qt_folder / "licenses" / "qt" / path
        entries = json.loads((folder / "qt_attribution.json").read_text(), strict=False)
        entry = entries[int(index)] if isinstance(entries, list) else entries
        yield attribution(entry, folder, f"{qt.purl}#{path}", qt.version)


def license_texts(components, qt_folder):
    """Returns the texts of the licences that Qt's source has, by identifier."""
    named = {word for component in components for word in re.findall(r"[\w.-]+", component.license)}
    stems = {name.replace("3.0-or-later", "3.0-only") for name in named}
    files = sorted((qt_folder / "licenses" / "qt" / "LICENSES").glob("*.txt"))
    return {file.stem: file.read_text() for file in files if file.stem in stems}


def notices(version, components, texts):
    parts = [HEAD.format(version=version)]
    for component in components:
        facts = (f"Licence: {component.license}", component.copyright, component.text)
        body = textwrap.indent("\n\n".join(fact.strip("\n") for fact in facts if fact), "    ")
        parts.append(f"{component.name} {component.version}\n\n{body}\n")
    parts += [f"Text of {name}\n\n{text}" for name, text in texts.items()]
    return f"\n{'=' * 80}\n".join(parts)


def identifier(kind, name):
    return f"SPDXRef-{kind}-" + re.sub(r"[^A-Za-z0-9.]+", "-", name).strip("-")


def file_element(folder, path):
    data = (folder / path).read_bytes()
    checksums = {"SHA1": hashlib.sha1(data), "SHA256": hashlib.sha256(data)}
    return {
        "SPDXID": identifier("File", path),
        "fileName": f"./{path}",
        "checksums": [{"algorithm": name, "checksumValue": sum.hexdigest()} for name, sum in checksums.items()],
    }


def package_element(component, files):
    purl = {"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl", "referenceLocator": component.purl}
    element = {
        "SPDXID": identifier("Package", component.name),
        "name": component.name,
        "versionInfo": component.version,
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": bool(files),
        "licenseDeclared": component.license,
        "copyrightText": component.copyright,
        "externalRefs": [purl],
    }
    if files:
        sums = "".join(sorted(file["checksums"][0]["checksumValue"] for file in files))
        element["packageVerificationCode"] = {
            "packageVerificationCodeValue": hashlib.sha1(sums.encode()).hexdigest(),
            "packageVerificationCodeExcludedFiles": [f"./{LIST}"],
        }
    return element


def elements(folder, components):
    """Returns the components, of which the first is the program, the package's files, and what belongs together."""
    files = {component.name: [] for component in components}
    paths = {str(path.relative_to(folder)) for path in folder.rglob("*") if path.is_file()}
    for path in sorted(paths - {LIST}):
        # The program has what no library has.
        owner = next(component for component in reversed(components) if component.owns(path))
        files[owner.name].append(file_element(folder, path))

    packages = [package_element(component, files[component.name]) for component in components]
    program, qt = (element["SPDXID"] for element in packages[:2])
    related = [("SPDXRef-DOCUMENT", "DESCRIBES", program)]
    related += [(program, "DYNAMIC_LINK", element["SPDXID"]) for element in packages[1 : len(LIBRARIES) + 1]]
    related += [(qt, "CONTAINS", element["SPDXID"]) for element in packages[len(LIBRARIES) + 1 :]]
    for element in packages:
        related += [(element["SPDXID"], "CONTAINS", file["SPDXID"]) for file in files[element["name"]]]
    keys = ("spdxElementId", "relationshipType", "relatedSpdxElement")
    return {
        "packages": packages,
        "files": [file for component in components for file in files[component.name]],
        "relationships": [dict(zip(keys, values)) for values in related],
    }


def main(folder, package, version, time, qt_folder):
    # The same permissions whoever makes the package.
    os.umask(0o022)
    folder, qt_folder = pathlib.Path(folder), pathlib.Path(qt_folder)
    purl = f"pkg:generic/fennory/OrvantaConfigurator@{version}"
    program = Component("OrvantaConfigurator", version, "NOASSERTION", "NOASSERTION", purl, files=("*",))
    others = list(libraries(qt_folder))
    others += attributions(qt_folder, others[0])
    texts = license_texts(others, qt_folder)
    (folder / "licenses" / "NOTICES.txt").write_text(notices(version, others, texts))

    moved = qt_folder / "moved-inputs.txt"
    document = {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": package,
        "documentNamespace": f"urn:fennory:{package}:{time}",
        "creationInfo": {"created": time, "creators": ["Organization: Fennory"]},
        "comment": moved.read_text().strip() if moved.exists() else "Qt is built from the recorded inputs.",
        "hasExtractedLicensingInfos": [
            {"licenseId": name, "extractedText": text} for name, text in texts.items() if name.startswith("LicenseRef-")
        ],
        **elements(folder, [program, *others]),
    }
    (folder / LIST).write_text(json.dumps(document, indent=1, ensure_ascii=False) + "\n")


if __name__ == "__main__":
    main(*sys.argv[1:])
