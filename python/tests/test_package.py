"""The stubs name what the package has; the examples of docs/python.md run."""

import ast
import io
import re
import shutil
from contextlib import redirect_stdout

from conftest import ROOT

import kivmime
from kivmime import _kivmime


def list_public(names):
    return {name for name in names if not name.startswith("_")}


def test_stubs_name_what_there_is():
    tree = ast.parse((ROOT / "python/kivmime/_kivmime.pyi").read_text())
    functions = {node.name for node in tree.body if isinstance(node, ast.FunctionDef)}
    classes = {node.name: node for node in tree.body if isinstance(node, ast.ClassDef) and node.name[0] != "_"}
    assert functions | set(classes) == list_public(dir(_kivmime)) == set(kivmime.__all__)
    for name, node in classes.items():
        stated = {one.name for one in node.body if isinstance(one, ast.FunctionDef)}
        bound = set(vars(getattr(kivmime, name)))
        assert list_public(stated) == list_public(bound), name


def test_document_shows_what_happens(tmp_path, monkeypatch):
    """Runs the Python blocks of docs/python.md one after the other; what a line prints is after its "#"."""
    monkeypatch.chdir(tmp_path)
    shutil.copytree(ROOT / "samples", "mail")
    shutil.copy(ROOT / "samples/nested.eml", "x.eml")
    blocks = re.findall(r"^```python\n(.*?)^```$", (ROOT / "docs/python.md").read_text(encoding="utf-8"), re.M | re.S)
    assert blocks
    names = {}
    for block in blocks:
        printed = io.StringIO()
        with redirect_stdout(printed):
            exec(compile(block, "docs/python.md", "exec"), names)
        assert printed.getvalue().splitlines() == re.findall(r"^[^#\n]*\bprint\(.*\) +# (.*)$", block, re.M)
