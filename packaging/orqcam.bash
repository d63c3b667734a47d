# Bash completion for orqcam.

_orqcam_controls() {
  # Names of the chosen camera's controls; nothing when it cannot be opened.
  local i camera=0
  for ((i = 1; i < COMP_CWORD; i++)); do
    [[ ${words[i]} == -c || ${words[i]} == --camera ]] && camera=${words[i + 1]}
  done
  command orqcam -c "$camera" controls 2>/dev/null | awk 'NR > 1 { print $1 }'
}

_orqcam() {
  local cur prev words cword
  _init_completion -n =: || return
  local commands="list info controls get set capture stream mode trigger reg id serial flash hotpixels settings"
  commands+=" profile temp cooler fan led hub guide focus sensor-id gps dark dump-controls report help"
  local general="-c --camera --json --strict --debug --no-settings --help"
  local shot="-e --exposure -g --gain --offset --region --center -b --bin -f --format --flip --hardware-bin
    --no-hardware-bin --mono-bin --gamma --time-mark --mode --out-a --out-b"
  local cool="--cool --cool-wait --cool-timeout --keep-cooling"
  local correct="--dark --no-dark --hot-pixels --no-hot-pixels"
  local auto="--auto-exposure --auto-gain --auto-wb --auto-target --auto-max-exposure --auto-max-gain"

  case $prev in
    -c | --camera)
      COMPREPLY=($(compgen -W "0 serial: id: virtual:k1c virtual:k1m virtual:k2m virtual:x26m virtual:t46c
        virtual:h53m virtual:b29m virtual:l3m virtual:d6m virtual:replay,file=" -- "$cur"))
      [[ ${COMPREPLY-} == *[:=] ]] && compopt -o nospace
      __ltrimcolons "$cur"
      return
      ;;
    -f | --format) COMPREPLY=($(compgen -W "raw8 raw16 rgb24 y8" -- "$cur")) && return ;;
    --mode)
      COMPREPLY=($(compgen -W "free software rising falling software-level high low" -- "$cur"))
      return
      ;;
    --flip) COMPREPLY=($(compgen -W "none h v both" -- "$cur")) && return ;;
    --image-type) COMPREPLY=($(compgen -W "light dark bias flat" -- "$cur")) && return ;;
    -b | --bin) COMPREPLY=($(compgen -W "1 2 3 4" -- "$cur")) && return ;;
    -o | --output | --dark | dump | restore | verify | export | --map) _filedir && return ;;
    --backup) _filedir -d && return ;;
    -e | --exposure | -g | --gain | --offset | --region | --center | -n | --count | --frames | -s | --seconds | \
      --timeout | --retries | --interval | --cool | --cool-timeout | --auto-target | --auto-max-exposure | --auto-max-gain | --auto-timeout | \
      --out-a | --out-b | -k | --keyword | --object | --observer) return ;;
  esac

  local i command=
  for ((i = 1; i < cword; i++)); do
    [[ " $commands " == *" ${words[i]} "* ]] && command=${words[i]} && break
  done
  local choices
  case $command in
    "") choices="$commands $general --version" ;;
    list) choices="--virtual $general" ;;
    get) choices="$(_orqcam_controls) $general" ;;
    set)
      choices="$(_orqcam_controls | sed 's/$/=/') $general"
      compopt -o nospace
      ;;
    capture)
      choices="$shot $correct $cool $auto --auto-timeout -n --count -o --output --overwrite --png --video --require-gps --retries --reconnect --timeout -k --keyword --object --observer --image-type
        $general"
      ;;
    stream) choices="$shot $correct $cool $auto -s --seconds -n --frames --reconnect $general" ;;
    trigger) choices="$shot -n --count --timeout $general" ;;
    settings) choices="show path reset --all --yes $general" ;;
    profile)
      choices="set clear $general"
      if [[ ${words[*]} == *" set "* ]]; then
        choices="observer= telescope= focal_length= filter= site= latitude= longitude= elevation= $general"
        compopt -o nospace
      fi
      ;;
    temp) choices="-w --watch --interval -n --count $general" ;;
    cooler) choices="status on off --wait --warm --keep-cooling --timeout $general" ;;
    report) choices="-o --output --overwrite $general" ;;
    help) choices="$commands" ;;
    hub) choices="status reset $general" ;;
    guide) choices="north south east west $general" ;;
    focus) choices="status $general" ;;
    dark)
      choices="take use off save load $general"
      [[ ${words[*]} == *" take "* ]] &&
        choices="-n --frames -e --exposure -g --gain --offset $cool -o --output --overwrite $general"
      if [[ ${words[*]} == *" use "* || ${words[*]} == *" save "* || ${words[*]} == *" load "* ]]; then
        [[ $cur == -* ]] || { _filedir && return; }
        choices="$general"
        [[ ${words[*]} == *" save "* ]] && choices="--overwrite $general"
      fi
      ;;
    gps)
      choices="status read watch lines $general"
      [[ ${words[*]} == *" watch"* ]] && choices="--interval -n --count $general"
      [[ ${words[*]} == *" lines"* ]] && choices="--follow $general"
      ;;
    reg) choices="--unsafe read write fpga sensor $general" ;;
    id)
      choices="get set clear $general"
      [[ ${words[*]} == *" set "* || ${words[*]} == *" clear "* ]] && choices="--yes --backup $general"
      ;;
    flash)
      choices="dump restore verify $general"
      [[ ${words[*]} == *" dump "* ]] && choices="--overwrite $general"
      [[ ${words[*]} == *" restore "* ]] && choices="--yes --backup --other-camera $general"
      [[ ${words[*]} == *" verify "* ]] && choices="$general"
      ;;
    hotpixels)
      choices="build show enable disable export $general"
      [[ ${words[*]} == *" build "* ]] &&
        choices="-e --exposure -g --gain -n --frames --save --yes --backup --list --map --overwrite $general"
      [[ ${words[*]} == *" show "* ]] && choices="--list --map --overwrite $general"
      [[ ${words[*]} == *" export "* ]] && choices="--overwrite $general"
      [[ ${words[*]} == *" enable "* || ${words[*]} == *" disable "* ]] && choices="$general"
      ;;
    *) choices="$general" ;;
  esac
  COMPREPLY=($(compgen -W "$choices" -- "$cur"))
}
complete -F _orqcam orqcam
