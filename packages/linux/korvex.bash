# Completion of korvex(1) for bash.
_korvex_ports() { # the names of panels, ports and their ttys
    korvex ports --json 2>/dev/null | sed -nE 's/^ *"(name|panel|path)": "(.*)",?$/\2/p'
}
_korvex_outputs() {
    xrandr 2>/dev/null | sed -n 's/ connected.*//p'
}
_korvex() {
    local word=$2 previous=$3 command="" options i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        [[ ${COMP_WORDS[i]} == -* ]] || { command=${COMP_WORDS[i]}; break; }
    done
    case "$command $previous" in
    "calibrate --points") COMPREPLY=($(compgen -W "9 4" -- "$word")); return ;;
    "calibrate --monitor") COMPREPLY=($(compgen -W "$(_korvex_outputs)" -- "$word")); return ;;
    "calibrate --windows") COMPREPLY=($(compgen -W "x11 none" -- "$word")); return ;;
    "calibrate --port") COMPREPLY=($(compgen -W "$(_korvex_ports)" -f -- "$word")); return ;;
    "calibrate --state") COMPREPLY=($(compgen -d -- "$word")); return ;;
    "calibrate --trace") COMPREPLY=($(compgen -f -- "$word")); return ;;
    "name --port") COMPREPLY=($(compgen -W "$(_korvex_ports)" -f -- "$word")); return ;;
    "name --trace") COMPREPLY=($(compgen -f -- "$word")); return ;;
    "try --monitor") COMPREPLY=($(compgen -W "$(_korvex_outputs)" -- "$word")); return ;;
    "try --port") COMPREPLY=($(compgen -W "$(_korvex_ports)" -f -- "$word")); return ;;
    "try --state") COMPREPLY=($(compgen -d -- "$word")); return ;;
    "try --trace") COMPREPLY=($(compgen -f -- "$word")); return ;;
    "check --port") COMPREPLY=($(compgen -W "$(_korvex_ports)" -f -- "$word")); return ;;
    "check --state") COMPREPLY=($(compgen -d -- "$word")); return ;;
    "check --trace") COMPREPLY=($(compgen -f -- "$word")); return ;;
    "check --seconds") return ;;
    "enum --port") COMPREPLY=($(compgen -W "$(_korvex_ports)" -f -- "$word")); return ;;
    "enum --state") COMPREPLY=($(compgen -d -- "$word")); return ;;
    "enum --pointer") COMPREPLY=($(compgen -W "x11 uinput log none" -- "$word")); return ;;
    "enum --monitor") COMPREPLY=($(compgen -W "$(_korvex_outputs)" -- "$word")); return ;;
    "enum --smooth") COMPREPLY=($(compgen -W "off low medium high" -- "$word")); return ;;
    "enum --hold-right") return ;;
    "enum --windows") COMPREPLY=($(compgen -W "x11 none" -- "$word")); return ;;
    "enum --trace") COMPREPLY=($(compgen -f -- "$word")); return ;;
    "drive --pointer") COMPREPLY=($(compgen -W "x11 uinput log none" -- "$word")); return ;;
    "drive --monitor") COMPREPLY=($(compgen -W "$(_korvex_outputs)" -- "$word")); return ;;
    "drive --smooth") COMPREPLY=($(compgen -W "off low medium high" -- "$word")); return ;;
    "drive --hold-right") return ;;
    "drive --trace") COMPREPLY=($(compgen -f -- "$word")); return ;;
    "monitor --pointer") COMPREPLY=($(compgen -W "x11 uinput none" -- "$word")); return ;;
    "monitor --monitor") COMPREPLY=($(compgen -W "$(_korvex_outputs)" -- "$word")); return ;;
    "monitor --trace") COMPREPLY=($(compgen -f -- "$word")); return ;;
    "monitor --seconds") return ;;
    "ports --port") COMPREPLY=($(compgen -W "$(_korvex_ports)" -f -- "$word")); return ;;
    "ports --state") COMPREPLY=($(compgen -d -- "$word")); return ;;
    "record --pointer") COMPREPLY=($(compgen -W "x11 uinput log none" -- "$word")); return ;;
    "record --trace") COMPREPLY=($(compgen -f -- "$word")); return ;;
    "record --seconds") return ;;
    "replay --pointer") COMPREPLY=($(compgen -W "x11 uinput log none" -- "$word")); return ;;
    "replay --monitor") COMPREPLY=($(compgen -W "$(_korvex_outputs)" -- "$word")); return ;;
    "replay --smooth") COMPREPLY=($(compgen -W "off low medium high" -- "$word")); return ;;
    "replay --hold-right") return ;;
    "replay --trace") COMPREPLY=($(compgen -f -- "$word")); return ;;
    "replay --speed") COMPREPLY=($(compgen -W "recorded full" -- "$word")); return ;;
    "paneltest --port") COMPREPLY=($(compgen -W "$(_korvex_ports)" -f -- "$word")); return ;;
    "paneltest --state") COMPREPLY=($(compgen -d -- "$word")); return ;;
    "paneltest --pointer") COMPREPLY=($(compgen -W "x11 uinput log none" -- "$word")); return ;;
    "paneltest --monitor") COMPREPLY=($(compgen -W "$(_korvex_outputs)" -- "$word")); return ;;
    "paneltest --windows") COMPREPLY=($(compgen -W "x11 none" -- "$word")); return ;;
    "paneltest --trace") COMPREPLY=($(compgen -f -- "$word")); return ;;
    "unbind --port") COMPREPLY=($(compgen -W "$(_korvex_ports)" -f -- "$word")); return ;;
    "unbind --state") COMPREPLY=($(compgen -d -- "$word")); return ;;
    "coinstall --instance") return ;;
    "coinstall --os") return ;;
    "coinstall --port") COMPREPLY=($(compgen -W "$(_korvex_ports)" -f -- "$word")); return ;;
    "coinstall --state") COMPREPLY=($(compgen -d -- "$word")); return ;;
    "coinstall --trace") COMPREPLY=($(compgen -f -- "$word")); return ;;
    "calib --state") COMPREPLY=($(compgen -d -- "$word")); return ;;
    "set-path --state") COMPREPLY=($(compgen -d -- "$word")); return ;;
    esac
    case $command in
    calibrate) options="--help --points --accept --undo --monitor --windows --json --port --state --trace"; COMPREPLY=($(compgen -W "$(_korvex_ports)" -f -- "$word")) ;;
    calibration) options="--help --json"; COMPREPLY=($(compgen -W "show export import verify history undo" -- "$word")) ;;
    name) options="--help --yes --port --trace" ;;
    try) options="--help --monitor --port --state --trace"; COMPREPLY=($(compgen -W "$(_korvex_ports)" -f -- "$word")) ;;
    check) options="--help --probe --port --state --trace --json --seconds" ;;
    status) options="--help --json --metrics" ;;
    enum) options="--help --single --port --state --pointer --monitor --smooth --hold-right --windows --trace" ;;
    drive) options="--help --wait --pointer --monitor --smooth --hold-right --trace --show-config"; COMPREPLY=($(compgen -W "$(_korvex_ports)" -f -- "$word")) ;;
    monitor) options="--help --pointer --monitor --trace --seconds --json"; COMPREPLY=($(compgen -W "$(_korvex_ports)" -f -- "$word")) ;;
    ports) options="--help --port --state --json" ;;
    record) options="--help --pointer --trace --seconds"; COMPREPLY=($(compgen -f -- "$word")) ;;
    replay) options="--help --pointer --monitor --smooth --hold-right --trace --speed"; COMPREPLY=($(compgen -f -- "$word")) ;;
    paneltest) options="--help --single --port --state --pointer --monitor --windows --trace" ;;
    unbind) options="--help --port --state"; COMPREPLY=($(compgen -W "$(_korvex_ports)" -f -- "$word")) ;;
    coinstall) options="--help --instance --os --server --tablet-pc --port --state --trace"; COMPREPLY=($(compgen -W "install remove" -- "$word")) ;;
    calib) options="--help --state" ;;
    set-path) options="--help --state"; COMPREPLY=($(compgen -d -- "$word")) ;;
    *) options="--help --help-all --version"; COMPREPLY=($(compgen -W "calibrate calibration name try check status enum drive monitor ports record replay paneltest unbind coinstall calib set-path" -- "$word")) ;;
    esac
    if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$word"))
    fi
}
complete -F _korvex korvex
