"""Every Python block of the README marked for it runs as written."""
import os
import re

import pytest

README = os.path.join(os.path.dirname(__file__), "..", "..", "README.md")
MARKER = "<!-- python example: run by the tests -->\n```python\n"


def blocks():
    with open(README, encoding="utf-8") as f:
        text = f.read()
    return [m.group(1) for m in re.finditer(re.escape(MARKER) + r"(.*?)```", text, re.S)]


def test_the_readme_has_python_examples():
    assert blocks()


@pytest.mark.parametrize("code", blocks(), ids=lambda code: code.splitlines()[0][:40])
def test_readme_example_runs(code):
    exec(compile(code, README, "exec"), {"__name__": "readme_example"})
