# Completion of ownerlinkctl for bash.

# OWNER/APP of what the owners list, as far as they answer at once.
_ownerlinkctl_apps() {
    ownerlinkctl list --timeout 200ms 2>/dev/null |
        awk '/^$/ { inside = 1; getline; next } inside { print $1 "/" $2 }'
}

# The verb among the words so far; empty before it.
_ownerlinkctl_verb() {
    local word
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in
            -*) ;;
            *)
                echo "$word"
                return
                ;;
        esac
    done
}

# What may follow an option that takes a value.
_ownerlinkctl_values() {
    case $1 in
        --for) echo "running terminated" ;;
        -t | --timeout) echo "200ms 1s 5s 30s owner" ;;
        --within | --interval) echo "500ms 1s 10s 1m" ;;
        -c | --command)
            echo "CHANGE_APP SET_SYSTEM_STATE RELOAD_CFG DUMP_APP STOP_ALL_APP QUERY_APP_LIST" \
                "VERIFY_APP QUERY_APP_STATE CANCEL_SUSPEND"
            ;;
        --param | --type | --count) echo "" ;;
        *) return 1 ;;
    esac
}

_ownerlinkctl_options() {
    local common="--json --quiet --help"
    case $1 in
        set-state | reload | dump | stop-all) echo "--timeout --dry-run $common" ;;
        start | stop | restart) echo "--param --timeout --dry-run $common" ;;
        query) echo "--type --timeout $common" ;;
        list) echo "--timeout $common" ;;
        wait) echo "--for --any --within --timeout $common" ;;
        watch) echo "--states --interval --count --timeout $common" ;;
        decode) echo "--command --response $common" ;;
        shell) echo "--stop-on-error $common" ;;
        owners) echo "$common" ;;
        *) echo "--help-all --version $common" ;;
    esac
}

_ownerlinkctl_words() {
    case $1 in
        "")
            echo "set-state start stop restart query list owners reload dump stop-all wait watch" \
                "decode shell"
            ;;
        set-state)
            echo "OFF WORKING SUSPEND UPGRADE CALIBRATION HIGH_LEVEL_ADS_EXIT SUSPEND_PRE"
            ;;
        start | stop | restart | wait) _ownerlinkctl_apps ;;
        query) _ownerlinkctl_apps | sed 's|^[^/]*/||' ;;
        reload | dump | stop-all) echo "DATAMASTER IAM APPMGR" ;;
    esac
}

_ownerlinkctl() {
    local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} verb words
    verb=$(_ownerlinkctl_verb)
    if ! words=$(_ownerlinkctl_values "$before"); then
        case $current in
            -*) words=$(_ownerlinkctl_options "$verb") ;;
            *) words=$(_ownerlinkctl_words "$verb") ;;
        esac
    fi
    COMPREPLY=()
    if [ "$verb" = decode ] && [ -z "$words" ]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    else
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
    fi
}

complete -F _ownerlinkctl ownerlinkctl
