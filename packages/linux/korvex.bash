# Completion of korvex(1) for bash.
_korvex() {
    local word=$2 previous=$3 command="" options="" i
    COMPREPLY=()
    case $previous in
    --pointer) COMPREPLY=($(compgen -W "x11 log none" -- "$word")); return ;;
    --windows) COMPREPLY=($(compgen -W "x11 none" -- "$word")); return ;;
    --speed) COMPREPLY=($(compgen -W "recorded full" -- "$word")); return ;;
    --state) COMPREPLY=($(compgen -d -- "$word")); return ;;
    --trace) COMPREPLY=($(compgen -f -- "$word")); return ;;
    --seconds | --instance | --os | --port) return ;;
    esac
    for ((i = 1; i < COMP_CWORD; i++)); do
        [[ ${COMP_WORDS[i]} == -* ]] || { command=${COMP_WORDS[i]}; break; }
    done
    case $command in
    enum | paneltest) options="--single --port --state --pointer --windows --trace" ;;
    check) options="--port --state --trace --seconds" ;;
    drive) options="--pointer --trace" ;;
    monitor) options="--pointer --trace --seconds --json" ;;
    record) options="--pointer --trace --seconds" ;;
    replay) options="--pointer --trace --speed" ;;
    ports) options="--port --state --json" ;;
    unbind) options="--port --state" ;;
    calib | set-path) options="--state" ;;
    coinstall) options="--instance --os --server --tablet-pc --port --state --trace" ;;
    *) options="--help --version" ;;
    esac
    if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$word"))
    elif [[ -z $command ]]; then
        COMPREPLY=($(compgen -W "enum paneltest check drive monitor record replay ports unbind calib coinstall set-path" -- "$word"))
    elif [[ $command == coinstall ]]; then
        COMPREPLY=($(compgen -W "install remove" -- "$word"))
    else
        COMPREPLY=($(compgen -f -- "$word"))
    fi
}
complete -F _korvex korvex
