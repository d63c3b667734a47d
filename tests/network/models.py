"""What docs/models.md says of each model."""

import os

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def rows(text, heading):
    """The first table below a heading, as lists of cells."""
    table = text.split(f"## {heading}\n\n")[1].split("\n\n")[0]
    return [[cell.strip() for cell in line.strip().strip("|").split("|")] for line in table.splitlines()]


def read():
    with open(os.path.join(ROOT, "docs", "models.md"), encoding="utf-8") as page:
        text = page.read()
    head, _, *lines = rows(text, "Which is which")
    models = {cells[0].strip("`"): dict(zip(head[1:], cells[1:])) for cells in lines}
    head, _, *lines = rows(text, "What each can do")
    for name, *cells in lines:
        for key, cell in zip(head[1:], cells):
            models[key.strip("`")][name] = cell
    return models


MODELS = read()
