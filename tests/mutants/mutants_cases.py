"""Part of pytest while mutants are made: writes a line for each test, with the mutations that it reached, as listener.cpp
does for GoogleTest. runtime.h tells of the variables."""

import mmap
import os
import time

import pytest


class CaseListener:
    def __init__(self, cases, reached):
        self.cases = open(cases, "w", encoding="utf-8")
        with open(reached, "r+b") as file:
            self.marks = mmap.mmap(file.fileno(), 0)
        self.passed = True

    def write(self, name, seconds):
        marks = " ".join(f"{i}:{mark}" for i, mark in enumerate(self.marks[:]) if mark)
        print(name, int(seconds * 1000), int(self.passed), marks, sep="\t", file=self.cases, flush=True)
        self.marks[:] = bytes(len(self.marks))

    # What importing reached counts for each of them.
    def pytest_collection_finish(self):
        self.write("*", 0)

    @pytest.hookimpl(hookwrapper=True)
    def pytest_runtest_protocol(self, item):
        self.passed = True
        began = time.monotonic()
        yield
        self.write(item.nodeid, time.monotonic() - began)

    def pytest_runtest_logreport(self, report):
        self.passed = self.passed and not report.failed


def pytest_configure(config):
    # Programs that the tests start note what they reach, but are no tests of their own.
    cases = os.environ.pop("MUTANTS_CASES", None)
    if cases is not None:
        config.pluginmanager.register(CaseListener(cases, os.environ["MUTANTS_REACHED"]))
