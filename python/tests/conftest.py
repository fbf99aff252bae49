"""What the tests share. TESPARSER_BUILD names the build tree that they take programs and samples from."""

from __future__ import annotations

import json
import os
import pathlib
import subprocess

import hypothesis
import pytest

import wire

# What was found stays in the tests, as a test of its own; nothing is kept beside them.
hypothesis.settings.register_profile("here", database=None, deadline=None)
hypothesis.settings.load_profile("here")

BUILD = pathlib.Path(os.environ["TESPARSER_BUILD"])
SOURCE = pathlib.Path(__file__).resolve().parents[2]


@pytest.fixture(scope="session")
def samples() -> pathlib.Path:
    return BUILD / "samples"


@pytest.fixture(scope="session")
def sample(samples):
    return lambda name: (samples / f"{name}.bin").read_bytes()


@pytest.fixture(scope="session")
def tesview():
    def run(*arguments, stdin=None) -> bytes:
        words = [str(BUILD / "bin" / "tesview"), *map(str, arguments)]
        return subprocess.run(words, input=stdin, capture_output=True, check=True).stdout

    return run


@pytest.fixture(scope="session")
def ndjson(tesview):
    """The lines of the viewer, as dicts."""
    return lambda *arguments: [json.loads(line) for line in tesview("--to", "ndjson", *arguments).splitlines()]


@pytest.fixture(scope="session")
def schema(tmp_path_factory) -> wire.Schema:
    """The schema's messages in python3-protobuf, compiled here by protoc, in a pool of their own."""
    return wire.Schema.compile(SOURCE / "tesparser" / "tesproto", tmp_path_factory.mktemp("schema") / "all.desc")
