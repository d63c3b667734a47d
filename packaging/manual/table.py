"""What orqcam tells of itself (`orqcam help --json`): the one table that manual and completions are made from."""

import json
import subprocess
from dataclasses import dataclass, field

# Values that shells complete by themselves.
FILE, FOLDER, CAMERA = "FILE", "FOLDER", "CAMERA"


@dataclass
class Option:
    names: tuple
    value: str
    description: str
    default: str
    group: str
    choices: tuple

    def __init__(self, told):
        self.names = tuple(told["names"])
        self.value = told.get("value", "")
        self.description = told["description"]
        self.default = told.get("default", "")
        self.group = told["group"]
        self.choices = tuple(told.get("choices", ()))

    def long(self):
        return next(name for name in self.names if name.startswith("--"))


@dataclass
class Argument:
    name: str
    description: str
    required: bool
    repeated: bool
    choices: tuple

    def __init__(self, told):
        self.name = told["name"]
        self.description = told["description"]
        self.required = told["required"]
        self.repeated = told["repeated"]
        self.choices = tuple(told.get("choices", ()))

    def shown(self):
        name = self.name + ("..." if self.repeated and " " not in self.name else "")
        return name if self.required else f"[{name}]"


@dataclass
class Command:
    path: str
    description: str
    group: str
    runs: bool
    options: list = field(default_factory=list)
    arguments: list = field(default_factory=list)


class Table:
    """All commands, each with its own options; `options` are those of the program, which every command takes."""

    def __init__(self, program):
        told = json.loads(subprocess.run([program, "help", "--json"], check=True, capture_output=True, text=True).stdout)
        self.options = [Option(each) for each in told["options"]]
        self.commands = {each["command"]: Command(each["command"], each["description"], each["group"], each["runs"],
                                                  [Option(option) for option in each["options"]],
                                                  [Argument(argument) for argument in each["arguments"]])
                         for each in told["commands"]}
        version = subprocess.run([program, "--version"], check=True, capture_output=True, text=True).stdout
        self.version = version.strip()

    def below(self, path):
        """The commands right below one; of the program with an empty path."""
        depth = len(path.split()) + 1
        return [command for name, command in self.commands.items()
                if len(name.split()) == depth and (not path or name.startswith(path + " "))]

    def options_at(self, path):
        """All options that may stand after these words: of the command, of those above it, of the program."""
        words = path.split()
        paths = [" ".join(words[:count]) for count in range(len(words), 0, -1)]
        return [option for each in paths for option in self.commands[each].options] + self.options

    def all_options(self):
        return self.options + [option for command in self.commands.values() for option in command.options]
