# bash completion for pxinfo: commands, the commands of a group, and the
# options of each command (kept in step with `pxinfo help COMMAND`).
_pxinfo() {
    local cur=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]} first=2 options
    case $command in
    order | packet | health)
        if ((COMP_CWORD == 2)); then
            case $command in
            order) options="check show new" ;;
            packet) options="new" ;;
            health) options="show check" ;;
            esac
            COMPREPLY=($(compgen -W "$options" -- "$cur"))
            return
        fi
        command="$command ${COMP_WORDS[2]}"
        first=3
        ;;
    esac
    if ((COMP_CWORD == 1)); then
        COMPREPLY=($(compgen -W "type info header packet order-of verify order health demo help --help --version" -- "$cur"))
        return
    fi
    case $command in
    type | info | header | order-of | "order check" | "order show" | "health show" | "health check")
        options="--json" ;;
    verify) options="--recursive -r --json" ;;
    "packet new")
        options="--output --family --source --major --sync-type --target --replica --seq --log-uuid --aux-string --force" ;;
    "order new")
        options="--output --id --created --expires --storage-class --original-path --local-path --destination --notify --comment --force" ;;
    demo) options="--force" ;;
    help)
        COMPREPLY=($(compgen -W "type info header packet order-of verify order health demo" -- "$cur"))
        return
        ;;
    esac
    if ((COMP_CWORD >= first)) && [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$options --help" -- "$cur"))
    else
        COMPREPLY=($(compgen -f -- "$cur"))
    fi
}
complete -o filenames -F _pxinfo pxinfo
