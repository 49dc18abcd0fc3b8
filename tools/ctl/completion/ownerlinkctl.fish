# Completion of ownerlinkctl for fish.

function __ownerlinkctl_apps
    ownerlinkctl list --timeout 200ms 2>/dev/null |
        awk '/^$/ { inside = 1; getline; next } inside { print $1 "/" $2 }'
end

set -l changes start stop restart
set -l controls reload dump stop-all

complete -c ownerlinkctl -f
complete -c ownerlinkctl -l json -d 'Print JSON'
complete -c ownerlinkctl -s q -l quiet -d 'Print errors only'
complete -c ownerlinkctl -s h -l help -d 'Print help'
complete -c ownerlinkctl -n __fish_use_subcommand -l version -d 'Print the version'
complete -c ownerlinkctl -n __fish_use_subcommand -l help-all -d 'Print all help'

complete -c ownerlinkctl -n __fish_use_subcommand -a set-state -d 'Set a system state on all owners'
complete -c ownerlinkctl -n __fish_use_subcommand -a start -d 'Start applications'
complete -c ownerlinkctl -n __fish_use_subcommand -a stop -d 'Stop applications'
complete -c ownerlinkctl -n __fish_use_subcommand -a restart -d 'Restart applications'
complete -c ownerlinkctl -n __fish_use_subcommand -a query -d 'Ask for the state of applications'
complete -c ownerlinkctl -n __fish_use_subcommand -a list -d 'List the applications of all owners'
complete -c ownerlinkctl -n __fish_use_subcommand -a owners -d 'Show the configured owners'
complete -c ownerlinkctl -n __fish_use_subcommand -a reload -d 'Reload configurations'
complete -c ownerlinkctl -n __fish_use_subcommand -a dump -d 'Write states to logs'
complete -c ownerlinkctl -n __fish_use_subcommand -a stop-all -d 'Stop all applications'
complete -c ownerlinkctl -n __fish_use_subcommand -a wait -d 'Wait for the state of applications'
complete -c ownerlinkctl -n __fish_use_subcommand -a watch -d 'Print system events'
complete -c ownerlinkctl -n __fish_use_subcommand -a decode -d 'Print a captured record'
complete -c ownerlinkctl -n __fish_use_subcommand -a shell -d 'Obey lines in one process'

complete -c ownerlinkctl -n "__fish_seen_subcommand_from set-state" \
    -a 'OFF WORKING SUSPEND UPGRADE CALIBRATION HIGH_LEVEL_ADS_EXIT SUSPEND_PRE'
complete -c ownerlinkctl -n "__fish_seen_subcommand_from $changes wait" -a '(__ownerlinkctl_apps)'
complete -c ownerlinkctl -n "__fish_seen_subcommand_from query" \
    -a '(__ownerlinkctl_apps | string replace -r "^[^/]*/" "")'
complete -c ownerlinkctl -n "__fish_seen_subcommand_from $controls" -a 'DATAMASTER IAM APPMGR'
complete -c ownerlinkctl -n "__fish_seen_subcommand_from set-state $changes $controls" \
    -s n -l dry-run -d 'Send nothing'
complete -c ownerlinkctl \
    -n "__fish_seen_subcommand_from set-state $changes $controls query list wait watch" \
    -s t -l timeout -x -a '200ms 1s 5s 30s owner' -d 'Limit of each exchange'
complete -c ownerlinkctl -n "__fish_seen_subcommand_from $changes" \
    -l param -x -d 'A dynamic parameter, INDEX=VALUE'
complete -c ownerlinkctl -n "__fish_seen_subcommand_from query" -l type -x -d 'Query type'
complete -c ownerlinkctl -n "__fish_seen_subcommand_from wait" \
    -l for -x -a 'running terminated' -d 'Awaited state'
complete -c ownerlinkctl -n "__fish_seen_subcommand_from wait" -l any -d 'One is enough'
complete -c ownerlinkctl -n "__fish_seen_subcommand_from wait" -l within -x -a '1s 10s 1m' \
    -d 'How long'
complete -c ownerlinkctl -n "__fish_seen_subcommand_from watch" -l states -d 'Applications, too'
complete -c ownerlinkctl -n "__fish_seen_subcommand_from watch" -l interval -x -a '500ms 1s 10s' \
    -d 'Between questions'
complete -c ownerlinkctl -n "__fish_seen_subcommand_from watch" -l count -x -d 'Number of lines'
complete -c ownerlinkctl -n "__fish_seen_subcommand_from decode" -F
complete -c ownerlinkctl -n "__fish_seen_subcommand_from decode" -s c -l command -x \
    -a 'CHANGE_APP SET_SYSTEM_STATE RELOAD_CFG DUMP_APP STOP_ALL_APP QUERY_APP_LIST VERIFY_APP \
    QUERY_APP_STATE CANCEL_SUSPEND' -d 'The command'
complete -c ownerlinkctl -n "__fish_seen_subcommand_from decode" -s r -l response \
    -d "It is the owner's answer"
complete -c ownerlinkctl -n "__fish_seen_subcommand_from shell" -s e -l stop-on-error \
    -d 'End at the first error'
