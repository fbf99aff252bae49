"""What is written about the module: examples run, and stubs name what there is."""

import ast
import doctest
import inspect
import re
import subprocess
import sys

import pytest

import tesparser
import tesparser.dask
import wire
from conftest import SOURCE
from tesparser import _core, _read, _table

FLAGS = doctest.NORMALIZE_WHITESPACE | doctest.ELLIPSIS


@pytest.mark.parametrize("module", [tesparser, _read, _table])
def test_examples_of_docstrings(module, samples):
    result = doctest.testmod(module, extraglobs={"samples": samples}, optionflags=FLAGS)
    assert result.attempted > 0 and result.failed == 0


@pytest.mark.parametrize("module", [tesparser, tesparser.dask])
def test_everything_public_is_documented(module):
    for name in module.__all__:
        each = getattr(module, name)
        assert inspect.getdoc(each), name
        for member, value in vars(each).items() if inspect.isclass(each) else ():
            if not member.startswith("_") and callable(value):
                assert inspect.getdoc(value), f"{name}.{member}"


def test_stubs_name_what_there_is():
    tree = ast.parse((SOURCE / "python" / "tesparser" / "_core.pyi").read_text())
    said = {node.name: node for node in tree.body if isinstance(node, (ast.ClassDef, ast.FunctionDef))}
    there = {name for name in vars(_core) if not name.startswith("_")}
    assert set(said) == there
    for name, node in said.items():
        if not isinstance(node, ast.ClassDef):
            continue
        members = {each.name for each in node.body if isinstance(each, ast.FunctionDef)}
        real = {each for each in vars(getattr(_core, name)) if not each.startswith("__") and each != "_pybind11_conduit_v1_"}
        assert {each for each in members if not each.startswith("__")} == real, name


def test_programs_of_the_page(samples, tmp_path):
    """Each block of the page runs, one after the other, beside a capture of that name."""
    page = (SOURCE / "docs" / "python.md").read_text()
    blocks = re.findall(r"```python\n(.*?)```", page, re.DOTALL)
    assert len(blocks) >= 5
    stream = bytearray()
    delimited = []
    for name in ("20-QuoteDynaSingle", "21-QuoteKlineSingle", "28-PaiXu"):
        reply = (samples / f"{name}.bin").read_bytes()
        stream += reply.hex().encode() + b"\n"
        delimited.append(reply)
    (tmp_path / "capture.log").write_bytes(stream)
    (tmp_path / "day.bin").write_bytes(wire.delimited(delimited))
    (tmp_path / "reply.bin").write_bytes((samples / "20-QuoteDynaSingle.bin").read_bytes())
    (tmp_path / "page.py").write_text("\n".join(blocks))
    done = subprocess.run([sys.executable, tmp_path / "page.py"], cwd=tmp_path, capture_output=True, text=True)
    assert done.returncode == 0, done.stderr
