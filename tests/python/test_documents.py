"""The code of the documents runs."""

from __future__ import annotations

import re
from pathlib import Path
from typing import Any

import pytest
from conftest import ROOT


def test_the_tutorial_runs(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(tmp_path)
    text = (ROOT / "docs" / "python.md").read_text()
    blocks = list(re.finditer(r"^```python\n(.*?)^```$", text, re.MULTILINE | re.DOTALL))
    assert len(blocks) >= 8
    names: dict[str, Any] = {"__name__": "tutorial"}
    for block in blocks:
        line = text.count("\n", 0, block.start(1))
        exec(compile("\n" * line + block[1], "docs/python.md", "exec"), names)
