"""Compares the tests of the Linux build with those that ran under Wine.

    compare_tests.py LINUX-BUILD WINDOWS-BUILD LIST

Prints how many tests there are on each side and names every one that differs: those of a platform
folder, and those that Wine cannot do, which LIST holds with the reasons. Anything else that differs
or fails is a failure; so is a test of LIST that passes. Ends with the line "N passed, N failed".
"""

import json
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree
from pathlib import Path

WINE = Path(__file__).with_name("wine.sh")


def get_sources(command):
    """The tests of kivmime_tests, each with the file that it stands in."""
    with tempfile.TemporaryDirectory() as folder:
        # A relative name: an absolute one of Linux is none for the program under Wine.
        subprocess.run([*command, "--gtest_list_tests", "--gtest_output=json:tests.json"],
                       cwd=folder, check=True, stdout=subprocess.DEVNULL)
        suites = json.loads(Path(folder, "tests.json").read_text())["testsuites"]
    return {f"{suite['name']}.{test['name']}": test["file"] for suite in suites for test in suite["testsuite"]}


def get_tests(build, sources):
    """The names of all tests of a build, each with its source or its command line."""
    shown = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"],
                           check=True, stdout=subprocess.PIPE).stdout
    others = {test["name"]: " ".join(test.get("command", [])) for test in json.loads(shown)["tests"]
              if not is_shard(test["name"])}
    return others | sources


def is_shard(name):
    """Is this a process that runs many tests, and reports them in a file of its own?"""
    return name.startswith("kivmime_tests.")


def get_results(build):
    """What became of each test in the last run: "run" is passed."""
    report = ElementTree.parse(build / "test-results.xml")
    results = {case.get("name"): case.get("status") for case in report.iter("testcase")
               if not is_shard(case.get("name"))}
    for shard in (build / "tests").glob("shard-*.xml"):
        for case in ElementTree.parse(shard).iter("testcase"):
            if case.get("status") == "run":
                status = "fail" if case.find("failure") is not None else case.get("result")
                results[f"{case.get('classname')}.{case.get('name')}"] = status.replace("completed", "run")
    return results


def read_list(path):
    """Test names with the reasons."""
    lines = path.read_text().splitlines()
    return dict(line.split(None, 1) for line in lines if line and not line.startswith("#"))


def print_names(title, names):
    print(f"{title}: {len(names)}")
    for name in names:
        print(f"    {name}")


def find_problems(linux, windows, results, cannot):
    problems = [f"{name}: is in no platform folder, but only on Linux"
                for name in linux.keys() - windows.keys() - cannot.keys() if "/platform/posix/" not in linux[name]]
    problems += [f"{name}: is in no platform folder, but only on Windows" for name in
                 windows.keys() - linux.keys() - cannot.keys() if "/platform/windows/" not in windows[name]]
    problems += [f"{name}: is on the list, but there is no such test"
                 for name in cannot.keys() - windows.keys() - linux.keys()]
    for name in windows:
        status = results.get(name, "not run")
        if status != "run" and name not in cannot:
            problems.append(f"{name}: {status}")
        if status == "run" and name in cannot and name in linux:
            problems.append(f"{name}: is on the list, but passes")
    return sorted(problems)


def main():
    linux_build, windows_build, list_file = (Path(argument).resolve() for argument in sys.argv[1:])
    program = "tests/kivmime_tests"
    linux = get_tests(linux_build, get_sources([linux_build / program]))
    windows = get_tests(windows_build, get_sources([WINE, f"{windows_build / program}.exe"]))
    results = get_results(windows_build)
    cannot = read_list(list_file)
    passed = [name for name in windows if results.get(name) == "run"]
    problems = find_problems(linux, windows, results, cannot)

    print_names("On Linux only (platform/posix)", sorted(linux.keys() - windows.keys()))
    print_names("On Windows only (platform/windows)", sorted(windows.keys() - linux.keys()))
    print_names("Wine cannot do", [f"{name}: {why}" for name, why in sorted(cannot.items())])
    print_names("Problems", problems)
    print(f"Linux: {len(linux)} tests. Windows, under Wine: {len(windows)} tests, {len(results)} ran. "
          f"The same on both: {len(linux.keys() & windows.keys())}.")
    print(f"{len(passed)} passed, {len(problems)} failed")
    return 1 if problems or not passed else 0


if __name__ == "__main__":
    sys.exit(main())
