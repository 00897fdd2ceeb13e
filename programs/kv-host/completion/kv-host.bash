# bash completion for kv-host
_kv_host() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} word command=
    local commands="read write watch log plan check stats bench areas"
    local options="--plc --simulate --timeout --retries --max-block --gap --driver --tags --word-order --format
                   --quiet --verbose --config --version --help"
    case $previous in
        --driver | -f | --tags | -o | --output | --sqlite | --config)
            mapfile -t COMPREPLY < <(compgen -f -- "$current"); return ;;
        --format) mapfile -t COMPREPLY < <(compgen -W "text csv json" -- "$current"); return ;;
        --word-order) mapfile -t COMPREPLY < <(compgen -W "low high" -- "$current"); return ;;
        --plc) mapfile -t COMPREPLY < <(compgen -W "tcp:// udp:// serial:///dev/" -- "$current"); return ;;
        --timeout | --retries | --max-block | --gap | --every | --for | --rotate) return ;;
    esac
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ " $commands " == *" $word "* ]] && { command=$word; break; }
    done
    case $command in
        write) options+=" --yes --dry-run --force" ;;
        watch | stats) options+=" --every --for" ;;
        log) options+=" --every --for --output --sqlite --rotate" ;;
        bench) options+=" --for" ;;
    esac
    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
    elif [[ -z $command ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$current")
    fi
}
complete -F _kv_host kv-host
