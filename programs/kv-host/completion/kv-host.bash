# SPDX-License-Identifier: MIT
# bash completion for kv-host
_kv_host() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} word command=
    local commands="read write watch log info plan check stats bench areas"
    local options="--plc --simulate --timeout --retries --max-block --gap --open --driver --tags --encoding --word-order
                   --text --format --read-only --quiet --verbose --config --version --help"
    # bash cuts words at ':': "tcp:" is a word of its own then, and no space may follow it.
    if [[ $previous == ":" || $current == ":" ]]; then return; fi
    case $previous in
        --driver | -f | --tags | -o | --output | --sqlite | --config)
            mapfile -t COMPREPLY < <(compgen -f -- "$current"); return ;;
        --format) mapfile -t COMPREPLY < <(compgen -W "text csv json" -- "$current"); return ;;
        --word-order) mapfile -t COMPREPLY < <(compgen -W "low high" -- "$current"); return ;;
        --open) mapfile -t COMPREPLY < <(compgen -W "cr none" -- "$current"); return ;;
        --text) mapfile -t COMPREPLY < <(compgen -W "utf-8 shift-jis latin-1" -- "$current"); return ;;
        --encoding)
            mapfile -t COMPREPLY < <(compgen -W "utf-8 utf-16 windows-1252 latin-1 shift-jis" -- "$current"); return ;;
        --layout) mapfile -t COMPREPLY < <(compgen -W "long wide" -- "$current"); return ;;
        --plc)
            compopt -o nospace
            mapfile -t COMPREPLY < <(compgen -W "tcp:// udp:// serial:///dev/" -- "$current"); return ;;
        --timeout | --retries | --max-block | --gap | --every | --for | --rotate | --keep | --pulse | --separator)
            return ;;
    esac
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ " $commands " == *" $word "* ]] && { command=$word; break; }
    done
    case $command in
        write) options+=" --yes --dry-run --force --no-verify --pulse" ;;
        watch | stats) options+=" --every --for" ;;
        plan) options+=" --every" ;;
        log)
            options+=" --every --for --output --sqlite --rotate --keep --layout --on-change --separator --decimal-comma
                      --local-time" ;;
        bench) options+=" --for" ;;
    esac
    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
    elif [[ -z $command ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$current")
    fi
}
complete -F _kv_host kv-host
