# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT

_keyword_gateway()
{
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    case $previous in
        --config|--check)
            compopt -o filenames
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return
            ;;
        --mqtt)
            mapfile -t COMPREPLY < <(compgen -W 'mqtt:// mqtts://' -- "$current")
            return
            ;;
        --mount|--port)
            return
            ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W '--config --check --mqtt --mount --port --dump --help --version' -- "$current")
}
complete -F _keyword_gateway keyword-gateway
