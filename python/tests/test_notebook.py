"""The notebook runs, and is kept without what it printed."""

import json
import os
import subprocess
import sys

import pytest

from conftest import BUILD, SOURCE

NOTEBOOK = SOURCE / "examples" / "market_data.ipynb"


def test_is_kept_without_output():
    cells = json.loads(NOTEBOOK.read_text())["cells"]
    assert all(not cell["outputs"] and cell["execution_count"] is None for cell in cells if cell["cell_type"] == "code")


@pytest.mark.heavy
def test_runs_and_becomes_a_page(samples, tmp_path):
    to = BUILD / "python" / "notebook"
    to.mkdir(parents=True, exist_ok=True)
    environment = {**os.environ, "TESPARSER_SAMPLES": str(samples), "IPYTHONDIR": str(tmp_path), "JUPYTER_CONFIG_DIR": str(tmp_path)}
    words = [sys.executable, "-m", "nbconvert", "--execute", "--to", "html", "--ExecutePreprocessor.kernel_name=python3", "--output-dir", str(to), str(NOTEBOOK)]
    done = subprocess.run(words, env=environment, cwd=tmp_path, capture_output=True, text=True)
    assert done.returncode == 0, done.stderr[-3000:]
    page = (to / "market_data.html").read_text()
    assert page.count("data:image/png;base64") >= 2 or page.count("image/png") >= 2
    assert "SFIF2406" in page
