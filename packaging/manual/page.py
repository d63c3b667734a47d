"""The manual page: hand-written words, with commands and options as the program tells them."""

import re


def roff(text):
    """Text as it is, in a line of its own or within one."""
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return "\\&" + text if text[:1] in (".", "'") else text


def bold(text):
    return f"\\fB{roff(text)}\\fR"


def italic(text):
    return f"\\fI{roff(text)}\\fR"


def option_lines(option):
    head = ", ".join(bold(name) for name in option.names)
    if option.value:
        head += " " + italic(option.value)
    text = option.description
    if option.default and "default" not in text:
        text += f" (default: {option.default})"
    return [".TP", head, roff(text)]


def synopsis(command):
    words = bold(f"orqcam {command.path}")
    if command.options:
        words += " [" + italic("OPTIONS") + "]"
    for argument in command.arguments:
        words += " " + italic(argument.shown())
    return words


def page(lines):
    """No paragraph is begun right after a heading: that has begun one."""
    kept = [line for above, line in zip(["", *lines], lines) if line != ".PP" or not above.startswith((".SH ", ".SS "))]
    return "\n".join(kept) + "\n"


class Page:
    """Expands the lines of a template that begin with @, and sees that nothing of the table is left out."""

    def __init__(self, table):
        self.table = table
        self.written = set()
        self.shared = self._shared()

    def _shared(self):
        """Group -> options: those that stand under the same heading in several commands, and are the same there."""
        groups = {}
        for command in self.table.commands.values():
            for option in command.options:
                groups.setdefault(option.group, {}).setdefault(option.names, []).append(option)
        return {group: [uses[0] for uses in options.values() if all(use == uses[0] for use in uses)]
                for group, options in groups.items()
                if group != "Options" and any(len(uses) > 1 for uses in options.values())}

    def expand(self, template):
        lines = []
        for line in template.splitlines():
            if not line.startswith("@"):
                lines.append(line)
                continue
            word, _, rest = line[1:].partition(" ")
            lines += getattr(self, "at_" + word.replace("-", "_"))(*([rest] if rest else []))
        self.check()
        return page(lines)

    def check(self):
        missing = sorted(set(self.table.commands) - self.written)
        missing += sorted(group for group in self.shared if ("shared", group) not in self.written)
        if missing:
            raise SystemExit(f"the manual's template says nothing of {', '.join(missing)}")

    def at_title(self):
        return [f'.TH ORQCAM 1 "" "{self.table.version}" "User Commands"']

    def at_global_options(self):
        return [line for option in self.table.options for line in option_lines(option)]

    def at_heading(self, heading):
        return [".SS " + roff(heading)]

    def at_command(self, path):
        if path not in self.table.commands:
            raise SystemExit(f"the manual's template speaks of a command {path}, which is none")
        lines = self.command_lines(self.table.commands[path])
        for command in self.table.below(path):
            lines += self.command_lines(command)
        return lines

    def command_lines(self, command):
        self.written.add(command.path)
        lines = [".PP", synopsis(command), ".br", roff(command.description) + ("." if command.description[-1] != "." else "")]
        lines.append(".RS")
        for argument in command.arguments:
            lines += [".TP", italic(argument.name), roff(argument.description)]
        elsewhere = {}
        for option in command.options:
            if option in self.shared.get(option.group, ()):
                elsewhere.setdefault(option.group, []).append(option)
            else:
                lines += option_lines(option)
        for group, options in elsewhere.items():
            lines += [".TP", "Shared options, " + roff(group), ", ".join(bold(option.long()) for option in options)]
        lines.append(".RE")
        return lines if len(lines) > 6 else lines[:4]

    def at_shared_options(self, group):
        self.written.add(("shared", group))
        return [".SS " + roff(group)] + [line for option in self.shared[group] for line in option_lines(option)]


def page_of_help(program, purpose, text):
    """The manual page of a small program: what it says with --help."""
    about, _, rest = text.partition("\nUsage: ")
    lines = [f'.TH {program.upper()} 1 "" "orqcam" "User Commands"', ".SH NAME", f"{roff(program)} \\- {roff(purpose)}",
             ".SH SYNOPSIS"]
    paragraphs = about.strip().split("\n\n")
    usage = next(paragraph for paragraph in paragraphs if paragraph.strip().startswith(program + " "))
    lines += [bold(program) + " " + roff(usage.strip()[len(program) + 1:]), ".SH DESCRIPTION"]
    for paragraph in paragraphs:
        if paragraph is usage:
            continue
        plain = "\n".join(roff(line) for line in paragraph.splitlines())
        lines += [".PP"] + ([".nf", plain, ".fi"] if re.search(r"^  ", paragraph, re.M) else [plain])
    lines.append(".SH OPTIONS")
    options = rest.partition("Options:\n")[2].replace("\n" + " " * 30, "  ")
    for line in options.splitlines():
        found = re.match(r"  (-\S+)((?: [A-Z]+)?) {2,}(.*)", line)
        if found:
            names = ", ".join(bold(name) for name in found[1].split(","))
            lines += [".TP", names + (" " + italic(found[2].strip()) if found[2] else ""), roff(found[3])]
    return page(lines)
