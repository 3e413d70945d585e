#!/usr/bin/env python3
"""Checks the recipes in packaging/ as far as that is possible without the programs that use them: their
syntax, the version, and that the switches and files they name exist."""
import ast
import json
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
CONAN = ROOT / "packaging/conan/conanfile.py"
VCPKG = ROOT / "packaging/vcpkg/kivmime"


def main():
    faults = []
    build = (ROOT / "CMakeLists.txt").read_text()
    switches = set(re.findall(r"option\((KIVMIME_\w+)", build))
    version = ".".join(re.findall(r"#define KIVMIME_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)",
                                  (ROOT / "etc/mime/version.h").read_text()))

    conan, port = CONAN.read_text(), (VCPKG / "portfile.cmake").read_text()
    manifest = json.loads((VCPKG / "vcpkg.json").read_text())
    if manifest["version-semver"] != version:
        faults.append(f"vcpkg.json has version {manifest['version-semver']}, version.h {version}")
    features = set(re.findall(r"^    (\w+) KIVMIME_", port, re.M))
    if features != set(manifest["features"]):
        faults.append(f"portfile.cmake has other features than vcpkg.json: {sorted(features)}")
    rules = (ROOT / "packaging/debian/rules").read_text()
    for name, text in (("conanfile.py", conan), ("portfile.cmake", port), ("rules", rules)):
        used = set(re.findall(r"(?:\b|-D)(KIVMIME_(?!VERSION)\w+)", text))
        if not used:
            faults.append(f"{name} sets no switch")
        faults += [f"{name}: the build has no switch {switch}" for switch in sorted(used - switches)]
    for node in ast.walk(ast.parse(conan)):
        if isinstance(node, ast.For) and getattr(node.target, "id", "") == "pattern":
            faults += [f"conanfile.py: nothing is {item.value}" for item in node.iter.elts
                       if not any(ROOT.glob(item.value))]
    print("\n".join(faults) or f"recipes: version {version}, {len(switches)} switches known")
    return 1 if faults else 0


sys.exit(main())
