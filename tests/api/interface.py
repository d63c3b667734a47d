"""Reads the C header: its functions with their parameters, and its structs with their fields."""

import re
from dataclasses import dataclass, field
from pathlib import Path


@dataclass
class Parameter:
    type: str  # without the name, as in "const orq_region*"
    name: str


@dataclass
class Function:
    result: str
    name: str
    parameters: list = field(default_factory=list)


@dataclass
class Struct:
    name: str
    fields: list = field(default_factory=list)  # names, in order


def _plain(text):
    text = re.sub(r"/\*.*?\*/", " ", text, flags=re.DOTALL)
    text = re.sub(r"^\s*#.*$", "", text, flags=re.MULTILINE)
    return re.sub(r"\s+", " ", text)


def _parameter(text):
    text = text.strip()
    name = re.search(r"(\w+)$", text).group(1)
    return Parameter(text[: -len(name)].replace(" *", "*").strip(), name)


def functions(header):
    found = []
    for result, name, inside in re.findall(r"ORQ_API ([\w ]+?\*?) ?(orq_\w+)\(([^()]*)\);", _plain(Path(header).read_text())):
        parameters = [] if inside.strip() == "void" else [_parameter(one) for one in inside.split(",")]
        found.append(Function(result.strip(), name, parameters))
    return found


def structs(header):
    found = []
    for inside, name in re.findall(r"typedef struct \w+ \{([^{}]*)\} (\w+);", _plain(Path(header).read_text())):
        fields = [re.search(r"(\w+)(\[\d+\])?$", one.strip()).group(1) for one in inside.split(";") if one.strip()]
        found.append(Struct(name, fields))
    return found
