# bash completion for kv-conform
_kv_conform() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}
    case $previous in
        --adapter)
            mapfile -t COMPREPLY < <(compgen -c -- "$current")
            return ;;
        --only)
            # The kit itself knows its checks.
            mapfile -t COMPREPLY < <(compgen -W "$("${COMP_WORDS[0]}" --list 2>/dev/null | cut -d' ' -f1)" -- "$current")
            return ;;
        --jobs)
            COMPREPLY=()
            return ;;
        --transcripts)
            mapfile -t COMPREPLY < <(compgen -d -- "$current")
            return ;;
        --json | --junit | --kv-sim)
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "--adapter --only --jobs --list --transcripts --json --junit --kv-sim --help" -- "$current")
}
complete -F _kv_conform kv-conform
