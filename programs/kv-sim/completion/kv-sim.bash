# bash completion for kv-sim
_kv_sim() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}
    local options="--tcp --udp --serial --baud --remote --remote-silence --control --control-all --max-clients
                   --idle-close --lf-ends-line --model --model-code --open --unaligned --negative --upper-only
                   --at-write --triple --max-count --error-digits --write-protect --cpu-program --cpu-error --scan
                   --program --check --set --load --save --record --replay --fault --delay --plcs --trace
                   --exit-with-stdin --version --help"
    local models="KV-8000 KV-8000A KV-7500 KV-7300 KV-5500 KV-5000 KV-3000 KV-1000 KV-700 KV-NC32T KV-N60 KV-N40
                  KV-N24"
    local faults="silent late error short long torn garbled doubled foreign split slow close reset forget lost twice
                  overtaken vanish refuse blackhole second"
    local values=
    if [[ " ${COMP_WORDS[*]:0:COMP_CWORD} " == *" --check "* && $current != -* ]]; then
        previous=--check # takes any number of files
    fi
    case $previous in
        --program | --check | --load | --save | --record | --replay | --serial)
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return ;;
        --model) values=$models ;;
        --open) values="required never refuse" ;;
        --negative) values="refuse wrap" ;;
        --at-write) values="refuse ok" ;;
        --triple) values="comma blank" ;;
        --cpu-program) values="present missing" ;;
        --delay) values="guess" ;;
        --baud) values="9600 19200 38400 57600 115200" ;;
        --fault) values=$faults ;;
        --tcp | --udp | --remote | --remote-silence | --control | --control-all | --max-clients | --idle-close | \
            --model-code | --max-count | --error-digits | --cpu-error | --scan | --set | --plcs)
            return ;;
    esac
    if [[ -n $values ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$values" -- "$current")
    elif [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
    fi
}
complete -F _kv_sim kv-sim
