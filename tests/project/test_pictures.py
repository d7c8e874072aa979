"""The pictures of the README are what the command shows: made anew, they say the same."""

import pathlib
import re
import shutil
import subprocess
import sys

import pytest
from workspace import BUILD, SOURCE

pytestmark = pytest.mark.pure_python
PICTURES = SOURCE / "docs" / "pictures"


def texts(picture: str) -> list[str]:
    """What is written in a picture, in its order."""
    return [text.replace("&#160;", " ").rstrip() for text in re.findall(r"<text\b[^>]*>([^<]*)", picture)]


def test_the_pictures_are_fresh(tmp_path: pathlib.Path) -> None:
    pytest.importorskip("rich", reason="python3-rich, which draws the session, is not installed")
    if shutil.which("dot") is None:
        pytest.skip("Graphviz, which draws the topology, is not installed")
    tool = SOURCE / "tools" / "make_pictures.py"
    subprocess.run([sys.executable, tool, BUILD, tmp_path], check=True, timeout=120)
    made = {path.name: path.read_text(encoding="utf-8") for path in tmp_path.iterdir()}
    kept = {path.name: path.read_text(encoding="utf-8") for path in PICTURES.iterdir()}
    assert set(made) == set(kept) == {"session.svg", "topology.svg"}
    for name, picture in made.items():
        assert texts(picture) == texts(kept[name]), f"docs/pictures/{name} is old: make pictures"
    # The session is drawn by rich alone, so that its colours are the same too.
    assert made["session.svg"] == kept["session.svg"]
    assert "@font-face" not in kept["session.svg"]  # whoever reads it asks no server for a typeface


def test_the_readme_shows_them() -> None:
    shown = re.findall(r"!\[[^]]+\]\(([^)]+\.svg)\)", (SOURCE / "README.md").read_text())
    assert sorted(shown) == ["docs/pictures/session.svg", "docs/pictures/topology.svg"]
