#!/usr/bin/env python3
"""Every test of the programs that hold several sources is run by ctest, and once: every_test_test.py BUILD"""
import json
import subprocess
import sys


def printed(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout


def tests_of(*command):
    """The names of the tests that a program of GoogleTest would run."""
    names, suite = [], ""
    for line in printed(*command, "--gtest_list_tests").splitlines():
        word = line.split("#")[0].strip()
        if line.startswith(" "):
            names.append(suite + word)
        else:
            suite = word
    return names


def main():
    asked = {}
    for test in json.loads(printed("ctest", "--test-dir", sys.argv[1], "--show-only=json-v1"))["tests"]:
        command = test.get("command", [])
        if len(command) == 2 and command[1].startswith("--gtest_filter="):
            asked.setdefault(command[0], []).extend(tests_of(*command))
    assert asked, "no program holds several sources"
    for program, names in asked.items():
        there = tests_of(program)
        assert sorted(names) == sorted(there), (program, "not run, or run twice:", sorted(
            name for name in {*names, *there} if names.count(name) != there.count(name)))
    print(f"{sum(map(len, asked.values()))} tests of {len(asked)} programs are each run once")


main()
