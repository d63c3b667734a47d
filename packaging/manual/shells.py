"""Completions for bash, zsh and fish. All three know the same: the words of every command, what an option takes, and that
names of controls are asked from the camera."""

from table import CAMERA, FILE, FOLDER

CAMERAS = ("0", "serial:", "id:", "virtual:")
# Arguments that are names of controls: the command and what follows each name.
CONTROLS = {"get": "", "set": "="}
MADE = "made from what orqcam tells of itself by packaging/manual/make.py; do not edit."


def values(table):
    """Name of an option -> the option: of those that take a value. It is the same in every command, as far as shells care."""
    found = {}
    for option in table.all_options():
        for name in option.names if option.value else ():
            other = found.setdefault(name, option)
            if (other.choices, kind(other)) != (option.choices, kind(option)):
                raise SystemExit(f"{name} takes other values in another command; the completions cannot tell these apart")
    return found


def kind(option):
    return option.value if option.value in (FILE, FOLDER, CAMERA) else ""


def first_sentence(text):
    return text.split(". ")[0].split(": ")[0] if len(text) > 70 else text


def argument_choices(command):
    return [choice for argument in command.arguments for choice in argument.choices]


def takes_files(command):
    return any(argument.name == FILE for argument in command.arguments)


# bash --------------------------------------------------------------------------------------------------------------

BASH = r"""# Bash completion for orqcam, @MADE@

_orqcam_controls() {
  # Names of the chosen camera's controls; nothing when it cannot be opened.
  local i camera=()
  for ((i = 1; i < ${#words[@]} - 1; i++)); do
    [[ ${words[i]} == -c || ${words[i]} == --camera ]] && camera=(-c "${words[i + 1]}")
  done
  command orqcam "${camera[@]}" controls 2>/dev/null | awk 'NR > 1 { print $1 }'
}

_orqcam_cameras() {
  printf '%s\n' @CAMERAS@
  command orqcam list --virtual 2>/dev/null | grep -oE 'virtual:[a-z0-9]+'
}

_orqcam() {
  local cur prev words cword
  _init_completion -n =: || return
  local -A below=(
@BELOW@
  )
  local -A options=(
@OPTIONS@
  )
  local -A choices=(
@CHOICES@
  )

  case $prev in
@VALUES@
  esac

  local i path=
  for ((i = 1; i < cword; i++)); do
    case ${words[i]} in
      @WITH_VALUE@) ((i++)) ;;
      -*) ;;
      *) [[ " ${below[_$path]-} " == *" ${words[i]} "* ]] && path=${path:+$path }${words[i]} ;;
    esac
  done

  local offered="${below[_$path]-} ${choices[_$path]-}"
  [[ $cur != -* ]] || offered=${options[_$path]-}
  case $path in
@ARGUMENTS@
  esac
  COMPREPLY=($(compgen -W "$offered" -- "$cur"))
  [[ ${COMPREPLY-} == *= ]] && compopt -o nospace
  return 0
} &&
  complete -F _orqcam orqcam
"""


def bash(table):
    paths = ["", *table.commands]
    below = {path: [command.path.split()[-1] for command in table.below(path)] for path in paths}
    below["help"] = below[""]
    options = {path: [name for option in table.options_at(path) for name in option.names] + ["-h", "--help"]
               for path in paths}
    options[""].append("--version")
    choices = {path: argument_choices(command) for path, command in table.commands.items()}

    def array(entries):
        return "\n".join(f'    ["_{path}"]="{" ".join(words)}"' for path, words in entries.items() if words)

    takers = values(table)

    def those(wanted):
        return " | ".join(name for name, option in takers.items() if wanted(option))

    cases = [f"    {those(lambda option: kind(option) == FILE)}) _filedir; return ;;",
             f"    {those(lambda option: kind(option) == FOLDER)}) _filedir -d; return ;;",
             f"    {those(lambda option: kind(option) == CAMERA)})",
             '      COMPREPLY=($(compgen -W "$(_orqcam_cameras)" -- "$cur"))',
             "      [[ ${COMPREPLY-} == *[:=] ]] && compopt -o nospace",
             '      __ltrim_colon_completions "$cur"', "      return", "      ;;"]
    chosen = {}
    for name, option in takers.items():
        if option.choices:
            chosen.setdefault(option.choices, []).append(name)
    cases += [f'    {" | ".join(names)}) COMPREPLY=($(compgen -W "{" ".join(words)}" -- "$cur")); return ;;'
              for words, names in chosen.items()]
    cases.append(f"    {those(lambda option: not option.choices and not kind(option))}) return ;;")

    arguments = [f'    {path}) [[ $cur == -* ]] || offered="$(_orqcam_controls{f" | sed s/$/{after}/" if after else ""})" ;;'
                 for path, after in CONTROLS.items()]
    files = " | ".join(f'"{path}"' for path, command in table.commands.items() if takes_files(command))
    arguments.append(f"    {files}) [[ $cur == -* ]] || {{ _filedir; return; }} ;;")
    return (BASH.replace("@MADE@", MADE).replace("@CAMERAS@", " ".join(CAMERAS)).replace("@BELOW@", array(below))
            .replace("@OPTIONS@", array(options)).replace("@CHOICES@", array(choices))
            .replace("@VALUES@", "\n".join(cases)).replace("@WITH_VALUE@", " | ".join(takers))
            .replace("@ARGUMENTS@", "\n".join(arguments)))


# zsh ---------------------------------------------------------------------------------------------------------------

ZSH = r"""#compdef orqcam
# Zsh completion for orqcam, @MADE@

_orqcam_controls() {
  local -a camera names
  local at=${words[(I)-c|--camera]}
  (( at > 0 && at < $#words )) && camera=(-c "${words[at + 1]}")
  names=(${(f)"$(command orqcam $camera controls 2>/dev/null | awk 'NR > 1 { print $1 }')"})
  compadd "$@" -a names
}

_orqcam_cameras() {
  local -a names
  names=(@CAMERAS@ ${(f)"$(command orqcam list --virtual 2>/dev/null | grep -oE 'virtual:[a-z0-9]+')"})
  compadd -S '' -a names
}

_orqcam_below() {
  local -a names
  case $1 in
@BELOW@
  esac
  _describe command names
}

_orqcam() {
  local -a takers
  takers=(@WITH_VALUE@)
  local i word known given=
  for ((i = 2; i < CURRENT; i++)); do
    word=$words[i]
    if (( ${takers[(Ie)$word]} )); then (( i++ )); continue; fi
    [[ $word == -* ]] && continue
    known=${given:+$given }$word
    case $known in
      @PATHS@) given=$known ;;
    esac
  done
  local -a specs
  case $given in
@SPECS@
  esac
  _arguments -s : $specs
}

_orqcam "$@"
"""


def zsh_quoted(text):
    return text.replace("'", "'\\''")


def zsh_spec_text(text):
    for special in ("\\", ":", "[", "]"):
        text = text.replace(special, "\\" + special)
    return zsh_quoted(text)


def zsh_value(option):
    action = {FILE: "_files", FOLDER: "_files -/", CAMERA: "_orqcam_cameras"}.get(option.value)
    if option.choices:
        action = "(" + " ".join(option.choices) + ")"
    return f":{zsh_spec_text(option.value)}:{action or ' '}"


def zsh_specs(table, path):
    specs = []
    for option in table.options_at(path):
        for name in option.names:
            specs.append(f"'*{name}[{zsh_spec_text(first_sentence(option.description))}]"
                         f"{zsh_value(option) if option.value else ''}'")
    specs.append("'(-h --help)'{-h,--help}'[Show help]'")
    if not path:
        specs.append("'--version[Show the version]'")
    command = table.commands.get(path)
    if table.below(path) or path == "help":
        specs.append(f"'*:: : _orqcam_below \"{path}\"'")
    elif path in CONTROLS:
        after = CONTROLS[path]
        specs.append(f"'*:control:_orqcam_controls{f' -S {after}' if after else ''}'")
    elif command and takes_files(command):
        specs.append("'*:file:_files'")
    elif command and argument_choices(command):
        specs.append(f"'*:value:({' '.join(argument_choices(command))})'")
    else:
        specs.append("'*: : '")  # the command's own words: without it no option is offered after them
    return specs


def zsh(table):
    paths = ["", *table.commands]
    below = []
    for path in [*paths, "help"]:
        commands = table.below("" if path == "help" else path)
        if commands:
            names = " ".join(f"'{command.path.split()[-1]}:{zsh_quoted(first_sentence(command.description))}'"
                             for command in commands)
            below.append(f'    "{path}") names=({names}) ;;')
    specs = [f'    "{path}") specs=({" ".join(zsh_specs(table, path))}) ;;' for path in paths]
    return (ZSH.replace("@MADE@", MADE).replace("@CAMERAS@", " ".join(CAMERAS)).replace("@BELOW@", "\n".join(below))
            .replace("@WITH_VALUE@", " ".join(values(table))).replace("@SPECS@", "\n".join(specs))
            .replace("@PATHS@", " | ".join(f'"{path}"' for path in table.commands)))


# fish --------------------------------------------------------------------------------------------------------------

FISH = r"""# Fish completion for orqcam, @MADE@

# The words of the command that stands before the cursor: "dark take".
function __orqcam_path
    set -l path
    set -l skip 0
    for word in (commandline -opc)[2..-1]
        if test $skip = 1
            set skip 0
        else if contains -- $word @WITH_VALUE@
            set skip 1
        else if not string match -q -- '-*' $word
            set -l known (string join ' ' $path $word)
            contains -- $known @PATHS@; and set path $known
        end
    end
    echo "$path"
end

function __orqcam_at
    test (__orqcam_path) = "$argv[1]"
end

function __orqcam_below
    string match -q -- "$argv[1]*" (__orqcam_path)
end

function __orqcam_cameras
    printf '%s\n' @CAMERAS@
    command orqcam list --virtual 2>/dev/null | string match -ar 'virtual:[a-z0-9]+'
end

function __orqcam_controls
    set -l camera
    set -l words (commandline -opc)
    for i in (seq (count $words))
        contains -- $words[$i] -c --camera; and set camera -c $words[(math $i + 1)]
    end
    command orqcam $camera controls 2>/dev/null | awk 'NR > 1 { print $1 }'
end

complete -c orqcam -f
@COMPLETE@
"""


def fish_quoted(text):
    return "'" + text.replace("\\", "\\\\").replace("'", "\\'") + "'"


def fish_option(condition, option):
    line = f"complete -c orqcam{condition}"
    for name in option.names:
        line += f" -l {name[2:]}" if name.startswith("--") else f" -s {name[1:]}"
    if option.value:
        line += " -x" if option.value != FILE else " -r -F"
    words = {FOLDER: "(__fish_complete_directories)", CAMERA: "(__orqcam_cameras)"}.get(option.value)
    if option.choices:
        words = " ".join(option.choices)
    if words:
        line += f" -a {fish_quoted(words)}"
    return line + f" -d {fish_quoted(first_sentence(option.description))}"


def fish(table):
    lines = [fish_option("", option) for option in table.options]
    lines += ["complete -c orqcam -s h -l help -d 'Show help'",
              "complete -c orqcam -n '__orqcam_at \"\"' -l version -d 'Show the version'"]
    for path in ["", *table.commands]:
        at = f" -n '__orqcam_at \"{path}\"'"
        for command in table.below("" if path == "help" else path):
            lines.append(f"complete -c orqcam{at} -a {command.path.split()[-1]} "
                         f"-d {fish_quoted(first_sentence(command.description))}")
        command = table.commands.get(path)
        if not command:
            continue
        above = at if not table.below(path) else f" -n '__orqcam_below \"{path}\"'"
        lines += [fish_option(above, option) for option in command.options]
        if path in CONTROLS:
            after = f' | string replace -r "\\$" {CONTROLS[path]}' if CONTROLS[path] else ""
            lines.append(f"complete -c orqcam{at} -a '(__orqcam_controls{after})'")
        elif takes_files(command):
            lines.append(f"complete -c orqcam{at} -F")
        elif argument_choices(command):
            lines.append(f"complete -c orqcam{at} -a {fish_quoted(' '.join(argument_choices(command)))}")
    return (FISH.replace("@MADE@", MADE).replace("@CAMERAS@", " ".join(CAMERAS)).replace("@COMPLETE@", "\n".join(lines))
            .replace("@WITH_VALUE@", " ".join(values(table)))
            .replace("@PATHS@", " ".join(f'"{path}"' for path in table.commands)))
