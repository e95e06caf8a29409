# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT
#
# Made by "keyword completion"; do not edit.

_keyword()
{
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command='' word options='' first=''
    for word in "${COMP_WORDS[@]:1:COMP_CWORD - 1}"; do
        case $word in
        get | watch | set | add | ls | tree | aggregate | label | ping | record | replay | completion | help)
            command=$word
            break
            ;;
        esac
    done

    case $previous in
    --url | -u)
        mapfile -t COMPREPLY < <(compgen -W '' -- "$current")
        return
        ;;
    --ca)
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
        ;;
    --cert)
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
        ;;
    --key)
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
        ;;
    --token-file)
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
        ;;
    --timeout)
        mapfile -t COMPREPLY < <(compgen -W '' -- "$current")
        return
        ;;
    --format | -f)
        mapfile -t COMPREPLY < <(compgen -W 'text json csv' -- "$current")
        return
        ;;
    --time)
        mapfile -t COMPREPLY < <(compgen -W 'none local utc delta' -- "$current")
        return
        ;;
    --count | -n)
        mapfile -t COMPREPLY < <(compgen -W '' -- "$current")
        return
        ;;
    --type)
        mapfile -t COMPREPLY < <(compgen -W 'bool int double string' -- "$current")
        return
        ;;
    --access)
        mapfile -t COMPREPLY < <(compgen -W 'none read meta write readwrite' -- "$current")
        return
        ;;
    --depth)
        mapfile -t COMPREPLY < <(compgen -W '' -- "$current")
        return
        ;;
    --as)
        mapfile -t COMPREPLY < <(compgen -W 'bool int double string object' -- "$current")
        return
        ;;
    --keyword | -k)
        mapfile -t COMPREPLY < <(compgen -W '' -- "$current")
        return
        ;;
    --interval)
        mapfile -t COMPREPLY < <(compgen -W '' -- "$current")
        return
        ;;
    --exclude)
        mapfile -t COMPREPLY < <(compgen -W '' -- "$current")
        return
        ;;
    --rotate)
        mapfile -t COMPREPLY < <(compgen -W '' -- "$current")
        return
        ;;
    --speed)
        mapfile -t COMPREPLY < <(compgen -W '' -- "$current")
        return
        ;;
    --listen)
        mapfile -t COMPREPLY < <(compgen -W '' -- "$current")
        return
        ;;
    --port)
        mapfile -t COMPREPLY < <(compgen -W '' -- "$current")
        return
        ;;
    --allow-origin)
        mapfile -t COMPREPLY < <(compgen -W '' -- "$current")
        return
        ;;
    esac

    case $command in
    '') first='get watch set add ls tree aggregate label ping record replay completion help' options='--help --version' ;;
    get)
        options='--url -u --ca --cert --key --token-file --timeout --no-reconnect --format -f --time --raw --recursive -r --type --access --depth --verbose -v --help -h --version'
        ;;
    watch)
        options='--url -u --ca --cert --key --token-file --timeout --no-reconnect --format -f --time --raw --count -n --recursive -r --type --access --depth --verbose -v --help -h --version'
        ;;
    set)
        options='--url -u --ca --cert --key --token-file --timeout --no-reconnect --format -f --time --wait -w --as --verbose -v --help -h --version'
        ;;
    add)
        options='--url -u --ca --cert --key --token-file --timeout --no-reconnect --format -f --time --wait -w --as --verbose -v --help -h --version'
        ;;
    ls)
        options='--url -u --ca --cert --key --token-file --timeout --no-reconnect --format -f --type --access --verbose -v --help -h --version'
        ;;
    tree)
        options='--url -u --ca --cert --key --token-file --timeout --no-reconnect --format -f --type --access --depth --verbose -v --help -h --version'
        ;;
    aggregate)
        options='--url -u --ca --cert --key --token-file --timeout --no-reconnect --format -f --time --raw --watch --count -n --keyword -k --verbose -v --help -h --version'
        first='min max equal sum and or'
        ;;
    label)
        options='--url -u --ca --cert --key --token-file --timeout --no-reconnect --format -f --raw --recursive -r --type --access --depth --verbose -v --help -h --version'
        ;;
    ping)
        options='--url -u --ca --cert --key --token-file --timeout --no-reconnect --format -f --count -n --interval --verbose -v --help -h --version'
        ;;
    record)
        options='--url -u --ca --cert --key --token-file --timeout --no-reconnect --count -n --recursive -r --exclude --rotate --force --type --access --depth --verbose -v --help -h --version'
        ;;
    replay)
        options='--speed --loop --hold --stay --listen --port --allow-origin --verbose -v --help -h --version'
        ;;
    completion)
        options='--verbose -v --help -h --version'
        first='bash zsh fish'
        ;;
    help)
        options='--all --verbose -v --help -h --version'
        first='get watch set add ls tree aggregate label ping record replay completion help'
        ;;
    esac

    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
    elif [[ $command =~ ^(record|replay)$ ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    else
        mapfile -t COMPREPLY < <(compgen -W "$first" -- "$current")
    fi
}

complete -F _keyword keyword
