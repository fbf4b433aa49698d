# Completion of nethttp for bash. Made by scripts/manual.

_nethttp() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} given words
    COMPREPLY=()
    # bash makes words of their own of "--name", "=" and the value.
    [[ $word == '=' ]] && word= before='='
    [[ $before == '=' ]] && before=${COMP_WORDS[COMP_CWORD - (${#word} ? 2 : 1)]}
    case $before in
    -T|--body-file|-o|--output|--report)
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        return
        ;;
    -X|--method)
        COMPREPLY=($(compgen -W 'GET HEAD POST PUT PATCH DELETE OPTIONS' -- "$word"))
        return
        ;;
    --protocol)
        COMPREPLY=($(compgen -W 'auto http https' -- "$word"))
        return
        ;;
    --http-version)
        COMPREPLY=($(compgen -W '1.0 1.1' -- "$word"))
        return
        ;;
    --log-level)
        COMPREPLY=($(compgen -W '1 3 4 5' -- "$word"))
        return
        ;;
    --host|--port|--path|-H|--header|-d|--body|--repeat|--cancel-after|--connect-timeout|--idle-timeout|--boot)
        return
        ;;
    esac
    words='-X --method --protocol --host --port --path --http-version -H --header -d --body -T --body-file --disallow-http --disallow-https --no-default-user-agent --no-redirect --ssl-ignore-untrusted --ssl-ignore-validity-period --ssl-ignore-invalid -v --verbose -o --output --memory --report -f --fail --progress --no-progress --repeat --cancel-after --log-level --connect-timeout --idle-timeout --boot -h --help --version'
    for given in "${COMP_WORDS[@]:1:COMP_CWORD - 1}"; do
        case $given in
        split) words='--keep-port-in-host --keep-path-in-host --log-level --connect-timeout --idle-timeout --boot -h --help --version' ;;
        encode) words='--log-level --connect-timeout --idle-timeout --boot -h --help --version' ;;
        decode) words='--log-level --connect-timeout --idle-timeout --boot -h --help --version' ;;
        status) words='--log-level --connect-timeout --idle-timeout --boot -h --help --version' ;;
        user-agent) words='--log-level --connect-timeout --idle-timeout --boot -h --help --version' ;;
        probe) words='--log-level --connect-timeout --idle-timeout --boot -h --help --version' ;;
        demo) words='--log-level --connect-timeout --idle-timeout --boot -h --help --version' ;;
        esac
    done
    if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W "$words" -- "$word"))
    elif ((COMP_CWORD == 1)); then
        COMPREPLY=($(compgen -W 'split encode decode status user-agent probe demo' -- "$word"))
    fi
}
complete -F _nethttp nethttp
