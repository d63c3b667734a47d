# Bash completion for orqcam, made from what orqcam tells of itself by packaging/manual/make.py; do not edit.

_orqcam_controls() {
  # Names of the chosen camera's controls; nothing when it cannot be opened.
  local i camera=()
  for ((i = 1; i < ${#words[@]} - 1; i++)); do
    [[ ${words[i]} == -c || ${words[i]} == --camera ]] && camera=(-c "${words[i + 1]}")
  done
  command orqcam "${camera[@]}" controls 2>/dev/null | awk 'NR > 1 { print $1 }'
}

_orqcam_cameras() {
  printf '%s\n' 0 serial: id: virtual:
  command orqcam list --virtual 2>/dev/null | grep -oE 'virtual:[a-z0-9]+'
}

_orqcam() {
  local cur prev words cword
  _init_completion -n =: || return
  local -A below=(
    ["_"]="list info id serial sensor-id report capture record ser stream trigger mode dark hotpixels controls get set gain settings profile temp cooler fan led hub guide focus focus-aid gps serve reg flash dump-controls help"
    ["_id"]="get set clear"
    ["_ser"]="info check repair extract"
    ["_dark"]="take use off save load"
    ["_hotpixels"]="build show enable disable export"
    ["_settings"]="path show reset"
    ["_profile"]="set clear"
    ["_hub"]="status reset"
    ["_gps"]="status read watch lines"
    ["_reg"]="read write"
    ["_flash"]="dump restore verify"
    ["_help"]="list info id serial sensor-id report capture record ser stream trigger mode dark hotpixels controls get set gain settings profile temp cooler fan led hub guide focus focus-aid gps serve reg flash dump-controls help"
  )
  local -A options=(
    ["_"]="-c --camera --json --strict --debug --no-settings -h --help --version"
    ["_list"]="--virtual -c --camera --json --strict --debug --no-settings -h --help"
    ["_info"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_id"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_id get"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_id set"]="--yes --backup -c --camera --json --strict --debug --no-settings -h --help"
    ["_id clear"]="--yes --backup -c --camera --json --strict --debug --no-settings -h --help"
    ["_serial"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_sensor-id"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_report"]="-o --output --overwrite -c --camera --json --strict --debug --no-settings -h --help"
    ["_capture"]="-e --exposure -g --gain --offset --region --center --centre -b --bin -f --format --flip --hardware-bin --no-hardware-bin --mono-bin --gamma --time-mark --mode --out-a --out-b --dark --no-dark --hot-pixels --no-hot-pixels --cool --cool-wait --cool-timeout --keep-cooling --auto-exposure --auto-gain --auto-wb --auto-target --auto-max-exposure --auto-max-gain --auto-timeout -n --count -o --output --overwrite --png --video --require-gps --retries --reconnect --timeout -k --keyword --object --observer --image-type -c --camera --json --strict --debug --no-settings -h --help"
    ["_record"]="-e --exposure -g --gain --offset --region --center --centre -b --bin -f --format --flip --hardware-bin --no-hardware-bin --mono-bin --gamma --time-mark --mode --out-a --out-b --dark --no-dark --hot-pixels --no-hot-pixels --cool --cool-wait --cool-timeout --keep-cooling --auto-exposure --auto-gain --auto-wb --auto-target --auto-max-exposure --auto-max-gain --auto-timeout --preset -o --output --form --overwrite -s --seconds -n --frames --size --ring --object --observer -c --camera --json --strict --debug --no-settings -h --help"
    ["_ser"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_ser info"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_ser check"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_ser repair"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_ser extract"]="-n --frames -o --output --overwrite -c --camera --json --strict --debug --no-settings -h --help"
    ["_stream"]="-e --exposure -g --gain --offset --region --center --centre -b --bin -f --format --flip --hardware-bin --no-hardware-bin --mono-bin --gamma --time-mark --mode --out-a --out-b --dark --no-dark --hot-pixels --no-hot-pixels --cool --cool-wait --cool-timeout --keep-cooling --auto-exposure --auto-gain --auto-wb --auto-target --auto-max-exposure --auto-max-gain -s --seconds -n --frames --reconnect -c --camera --json --strict --debug --no-settings -h --help"
    ["_trigger"]="-e --exposure -g --gain --offset --region --center --centre -b --bin -f --format --flip --hardware-bin --no-hardware-bin --mono-bin --gamma --time-mark --mode --out-a --out-b -n --count --timeout -c --camera --json --strict --debug --no-settings -h --help"
    ["_mode"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_dark"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_dark take"]="-n --frames -e --exposure -g --gain --offset --cool --cool-wait --cool-timeout --keep-cooling -o --output --overwrite -c --camera --json --strict --debug --no-settings -h --help"
    ["_dark use"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_dark off"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_dark save"]="--overwrite -c --camera --json --strict --debug --no-settings -h --help"
    ["_dark load"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_hotpixels"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_hotpixels build"]="-n --frames -e --exposure -g --gain --save --yes --backup --list --map --overwrite -c --camera --json --strict --debug --no-settings -h --help"
    ["_hotpixels show"]="--list --map --overwrite -c --camera --json --strict --debug --no-settings -h --help"
    ["_hotpixels enable"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_hotpixels disable"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_hotpixels export"]="--overwrite -c --camera --json --strict --debug --no-settings -h --help"
    ["_controls"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_get"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_set"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_gain"]="--measure -c --camera --json --strict --debug --no-settings -h --help"
    ["_settings"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_settings path"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_settings show"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_settings reset"]="--all --yes -c --camera --json --strict --debug --no-settings -h --help"
    ["_profile"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_profile set"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_profile clear"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_temp"]="-w --watch --interval -n --count -c --camera --json --strict --debug --no-settings -h --help"
    ["_cooler"]="--wait --warm --keep-cooling --timeout -c --camera --json --strict --debug --no-settings -h --help"
    ["_fan"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_led"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_hub"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_hub status"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_hub reset"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_guide"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_focus"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_focus-aid"]="-e --exposure -g --gain --offset --region --center --centre -b --bin -f --format --flip --hardware-bin --no-hardware-bin --mono-bin --gamma --time-mark --mode --out-a --out-b --dark --no-dark --hot-pixels --no-hot-pixels --cool --cool-wait --cool-timeout --keep-cooling --auto-exposure --auto-gain --auto-wb --auto-target --auto-max-exposure --auto-max-gain -n --frames --curve -c --camera --json --strict --debug --no-settings -h --help"
    ["_gps"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_gps status"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_gps read"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_gps watch"]="--interval -n --count -c --camera --json --strict --debug --no-settings -h --help"
    ["_gps lines"]="--follow -c --camera --json --strict --debug --no-settings -h --help"
    ["_serve"]="-c --camera --listen --port --token --token-file --no-token --host --alpaca-allow --folder --no-discovery --client-seconds -c --camera --json --strict --debug --no-settings -h --help"
    ["_reg"]="--unsafe -c --camera --json --strict --debug --no-settings -h --help"
    ["_reg read"]="--unsafe -c --camera --json --strict --debug --no-settings -h --help"
    ["_reg write"]="--unsafe -c --camera --json --strict --debug --no-settings -h --help"
    ["_flash"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_flash dump"]="--overwrite -c --camera --json --strict --debug --no-settings -h --help"
    ["_flash restore"]="--other-camera --yes --backup -c --camera --json --strict --debug --no-settings -h --help"
    ["_flash verify"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_dump-controls"]="-c --camera --json --strict --debug --no-settings -h --help"
    ["_help"]="-c --camera --json --strict --debug --no-settings -h --help"
  )
  local -A choices=(
    ["_profile set"]="observer= telescope= focal_length= filter= site= latitude= longitude= elevation="
    ["_cooler"]="status on off"
    ["_guide"]="north south east west"
    ["_reg read"]="fpga sensor"
    ["_reg write"]="fpga sensor"
  )

  case $prev in
    -o | --output | --dark | --map | --token-file) _filedir; return ;;
    --backup | --folder) _filedir -d; return ;;
    -c | --camera)
      COMPREPLY=($(compgen -W "$(_orqcam_cameras)" -- "$cur"))
      [[ ${COMPREPLY-} == *[:=] ]] && compopt -o nospace
      __ltrim_colon_completions "$cur"
      return
      ;;
    -b | --bin) COMPREPLY=($(compgen -W "1 2 3 4" -- "$cur")); return ;;
    -f | --format) COMPREPLY=($(compgen -W "raw8 raw16 rgb24 y8" -- "$cur")); return ;;
    --flip) COMPREPLY=($(compgen -W "none h v both" -- "$cur")); return ;;
    --mode) COMPREPLY=($(compgen -W "free software rising falling software-level high low" -- "$cur")); return ;;
    --image-type) COMPREPLY=($(compgen -W "light dark bias flat" -- "$cur")); return ;;
    --preset) COMPREPLY=($(compgen -W "full 1280x720 640x480 planet" -- "$cur")); return ;;
    --form) COMPREPLY=($(compgen -W "ser cube folder" -- "$cur")); return ;;
    -e | --exposure | -g | --gain | --offset | --region | --center | --centre | --gamma | --out-a | --out-b | --cool | --cool-timeout | --auto-target | --auto-max-exposure | --auto-max-gain | --auto-timeout | -n | --count | --retries | --timeout | -k | --keyword | --object | --observer | -s | --seconds | --frames | --size | --ring | --interval | --curve | --listen | --port | --token | --host | --alpaca-allow | --client-seconds) return ;;
  esac

  local i path=
  for ((i = 1; i < cword; i++)); do
    case ${words[i]} in
      -c | --camera | --backup | -o | --output | -e | --exposure | -g | --gain | --offset | --region | --center | --centre | -b | --bin | -f | --format | --flip | --gamma | --mode | --out-a | --out-b | --dark | --cool | --cool-timeout | --auto-target | --auto-max-exposure | --auto-max-gain | --auto-timeout | -n | --count | --retries | --timeout | -k | --keyword | --object | --observer | --image-type | --preset | --form | -s | --seconds | --frames | --size | --ring | --map | --interval | --curve | --listen | --port | --token | --token-file | --host | --alpaca-allow | --folder | --client-seconds) ((i++)) ;;
      -*) ;;
      *) [[ " ${below[_$path]-} " == *" ${words[i]} "* ]] && path=${path:+$path }${words[i]} ;;
    esac
  done

  local offered="${below[_$path]-} ${choices[_$path]-}"
  [[ $cur != -* ]] || offered=${options[_$path]-}
  case $path in
    get) [[ $cur == -* ]] || offered="$(_orqcam_controls)" ;;
    set) [[ $cur == -* ]] || offered="$(_orqcam_controls | sed s/$/=/)" ;;
    "ser info" | "ser check" | "ser repair" | "ser extract" | "dark use" | "dark save" | "dark load" | "hotpixels export" | "flash dump" | "flash restore" | "flash verify") [[ $cur == -* ]] || { _filedir; return; } ;;
  esac
  COMPREPLY=($(compgen -W "$offered" -- "$cur"))
  [[ ${COMPREPLY-} == *= ]] && compopt -o nospace
  return 0
} &&
  complete -F _orqcam orqcam
