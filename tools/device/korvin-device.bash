# Completion of korvin-device for bash.
_korvin_device() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    if [[ ${COMP_WORDS[1]} == ctl && $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "--device --help" -- "$current")
        return
    elif [[ ${COMP_WORDS[1]} == ctl && $COMP_CWORD -ge 3 ]]; then
        mapfile -t COMPREPLY < <(compgen -W "get set faults statistics addresses save reload quit" -- "$current")
        return
    fi
    case $previous in
        --framing)
            mapfile -t COMPREPLY < <(compgen -W "prefix lines linux" -- "$current")
            ;;
        --address | --port | --upstream | --baud | --faults | --seed) ;;
        --config | --unix | --serial | --trace | --pcap | --journal | --save | --control | ctl | record | replay)
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            ;;
        *)
            mapfile -t COMPREPLY < <(compgen -W "ctl record replay --address --baud --config --control --detach --faults
                --framing --help --journal --pcap --port --pty --save --seed --serial --trace --unix
                --upstream --version" -- "$current")
            ;;
    esac
}
complete -F _korvin_device korvin-device
