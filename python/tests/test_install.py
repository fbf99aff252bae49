"""A wheel in a fresh virtual environment, made without a network."""

import os
import subprocess

import pytest

from conftest import BUILD, SOURCE

pytestmark = pytest.mark.heavy

PROGRAM = """
import sys, pathlib, tesparser
assert pathlib.Path(tesparser.__file__).is_relative_to(sys.prefix), tesparser.__file__
table = tesparser.table(open(sys.argv[1], "rb").read())
assert table[0, "Data"].to_numpy("ZuiXinJia")[0] == 8.16
assert len(tesparser.read(sys.argv[1]).to_pandas()) == 8
maps = open("/proc/self/maps").read()
loaded = {line.split()[-1] for line in maps.splitlines() if "libtesparser" in line or "libtsl_base" in line}
assert len(loaded) == 2 and all(pathlib.Path(each).is_relative_to(sys.prefix) for each in loaded), loaded
"""


def test_pip_installs_into_a_fresh_environment(tmp_path, samples):
    subprocess.run(["/usr/bin/python3", "-m", "venv", "--system-site-packages", tmp_path / "venv"], check=True)
    clean = {name: value for name, value in os.environ.items() if name not in ("PYTHONPATH", "PYTHONDONTWRITEBYTECODE")}
    # Nothing can be fetched.
    clean.update(TESPARSER_BUILD=str(BUILD), PIP_NO_INDEX="1", PIP_DISABLE_PIP_VERSION_CHECK="1")
    pip = [tmp_path / "venv" / "bin" / "python", "-m", "pip"]
    done = subprocess.run([*pip, "install", "--no-build-isolation", SOURCE / "python"], env=clean, capture_output=True, text=True)
    assert done.returncode == 0, done.stdout[-3000:] + done.stderr[-3000:]
    subprocess.run([tmp_path / "venv" / "bin" / "python", "-c", PROGRAM, samples / "20-QuoteDynaSingle.bin"], cwd=tmp_path, env=clean, check=True)
