# Completion of korvex-emulator(1) for bash.
_korvex_emulator() {
    local word=$2 previous=$3 command="" options i
    COMPREPLY=()
    case "$command $previous" in
    " --link") COMPREPLY=($(compgen -f -- "$word")); return ;;
    " --model") COMPREPLY=($(compgen -W "5200 5460 7700" -- "$word")); return ;;
    " --identity") return ;;
    " --baud") COMPREPLY=($(compgen -W "19200 9600" -- "$word")); return ;;
    " --resolution") COMPREPLY=($(compgen -W "10 12" -- "$word")); return ;;
    " --firmware") return ;;
    " --memory") return ;;
    " --fault") return ;;
    " --report-noise") return ;;
    " --report-gap") return ;;
    " --scale") return ;;
    " --rotate") return ;;
    " --offset") return ;;
    " --target-error") return ;;
    " --noise") return ;;
    " --script") COMPREPLY=($(compgen -f -- "$word")); return ;;
    esac
    case $command in
    *) options="--help --version --link --model --identity --baud --resolution --firmware --memory --fault --report-noise --report-gap --scale --rotate --offset --target-error --noise --script --panel-test" ;;
    esac
    if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$word"))
    fi
}
complete -F _korvex_emulator korvex-emulator
