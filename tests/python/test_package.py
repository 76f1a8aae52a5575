"""The package as installed: its version, the library it loads, and type stubs
that match the extension name for name and keyword for keyword."""
import ast
import re
import subprocess
import sys
from pathlib import Path

import qevo

PACKAGE = Path(qevo.__file__).parent
CMAKE_LISTS = Path(__file__).resolve().parents[2] / "CMakeLists.txt"


def test_version_is_the_projects():
    project = re.search(r"project\(QEVO VERSION (\d+\.\d+\.\d+)", CMAKE_LISTS.read_text())
    assert project and qevo.__version__ == project.group(1)


def test_module_loads_the_library_beside_it():
    # A fresh interpreter, so the maps show only what importing qevo loads.
    probe = "import qevo; print(open('/proc/self/maps').read())"
    maps = subprocess.run([sys.executable, "-c", probe], check=True, capture_output=True,
                          text=True).stdout
    libs = {line.split()[-1] for line in maps.splitlines() if "libQEVO.kivexC.so" in line}
    assert libs == {str(PACKAGE / "libQEVO.kivexC.so.1")}, libs


def split_top_level(text):
    """Comma-separated parts of text, ignoring commas inside brackets and quotes."""
    parts, depth, quote, cur = [], 0, None, ""
    for ch in text + ",":
        if quote:
            quote = None if ch == quote else quote
        elif ch in "'\"":
            quote = ch
        elif ch in "[(":
            depth += 1
        elif ch in "])":
            depth -= 1
        elif ch == "," and depth == 0:
            parts.append(cur.strip())
            cur = ""
            continue
        cur += ch
    return [p for p in parts if p]


def runtime_signature(fn):
    """Parameter names (with '*' for the keyword-only marker) from the binding's
    signature line, and the text that follows it."""
    head, _, rest = fn.__doc__.partition("\n")
    inner = head[head.index("(") + 1:head.rindex(")")]
    names = [re.split(r"[:=]", p)[0].strip() for p in split_top_level(inner)]
    return names, rest.strip()


def stub_signature(node):
    a = node.args
    names = [p.arg for p in a.posonlyargs + a.args]
    if a.kwonlyargs:
        names += ["*"] + [p.arg for p in a.kwonlyargs]
    return names


def stub_tree():
    tree = ast.parse((PACKAGE / "__init__.pyi").read_text())
    names, classes = {}, {}
    for node in tree.body:
        if isinstance(node, ast.FunctionDef):
            names[node.name] = node
        elif isinstance(node, ast.ClassDef):
            names[node.name] = node
            classes[node.name] = {}
            for n in node.body:
                if isinstance(n, ast.FunctionDef):
                    classes[node.name][n.name] = n
                elif isinstance(n, ast.AnnAssign):
                    classes[node.name][n.target.id] = n
        elif isinstance(node, ast.AnnAssign):
            names[node.target.id] = node
    return names, classes


def test_stubs_match_the_extension():
    assert (PACKAGE / "py.typed").exists()
    names, classes = stub_tree()
    public = {n for n in dir(qevo) if not n.startswith("_")}
    assert {n for n in names if not n.startswith("_")} == public
    checked = 0
    for name in sorted(public):
        obj = getattr(qevo, name)
        if isinstance(obj, type) and name in classes and hasattr(obj, "__members__"):
            assert set(obj.__members__) <= set(classes[name]), name  # enumerations
        elif isinstance(obj, type) and name != "TensorPlacement":
            members = {m for m in vars(obj) if not m.startswith("_")} | {"__init__", "__len__"}
            assert members == set(classes[name]), name
            for m in members:
                attr = vars(obj)[m]
                if isinstance(attr, property):
                    assert attr.__doc__, f"{name}.{m} has no docstring"
                    continue
                params, text = runtime_signature(attr)
                assert text, f"{name}.{m} has no docstring"
                assert params == stub_signature(classes[name][m]), f"{name}.{m}"
                checked += 1
        elif callable(obj) and name != "TensorPlacement":
            params, text = runtime_signature(obj)
            assert text, f"{name} has no docstring"
            node = names[name]
            assert isinstance(node, ast.FunctionDef), name
            assert params == stub_signature(node), name
            checked += 1
    assert checked > 30
