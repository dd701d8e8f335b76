# What fish offers for netinfo.

# The words so far that are neither options nor their values: "limit set 20GB".
function __netinfo_words
    set -l words
    set -l value no
    for word in (commandline -opc)[2..]
        if test $value = yes
            set value no
        else if contains -- $word --units --color --by --per --type --warn --from --to --since --last --top --module
            set value yes
        else if not string match -q -- '-*' $word
            set -a words $word
        end
    end
    string join ' ' -- $words
end

# True after exactly these words.
function __netinfo_after
    set -l words (__netinfo_words)
    test "$words" = "$argv"
end

# True within the command of these words.
function __netinfo_in
    string match -q -- "$argv *" (__netinfo_words)' '
end

function __netinfo_moments
    date +%F
    printf '%s\n' 12h 7d 4w
end

function __netinfo_setting_keys
    printf '%s\t%s\n' week-start 'The weekday on which a week begins' \
        month-start 'The day on which a month begins' \
        limit-command 'What is executed at the limit' \
        checkpoint 'Seconds that a power cut may cost'
    for link in /sys/class/net/*/
        printf 'link.%s\t%s\n' (basename $link) 'What the link is counted as'
    end
end

function __netinfo_records
    command -q netinfo; and netinfo records 2>/dev/null | awk 'NR > 1 { print $1 "\t" $2 }'
end

complete -c netinfo -f
complete -c netinfo -s h -l help -d 'Show help'

complete -c netinfo -n __netinfo_after -l version -d 'Show the version'
complete -c netinfo -n __netinfo_after -a run -d 'Count, and show the figures'
complete -c netinfo -n __netinfo_after -a live -d 'Watch the speeds, with graphs'
complete -c netinfo -n __netinfo_after -a usage -d 'Show what was used'
complete -c netinfo -n __netinfo_after -a limit -d 'Show or change the limit'
complete -c netinfo -n __netinfo_after -a report -d 'Show the totals of every type and period'
complete -c netinfo -n __netinfo_after -a history -d 'Show the traffic of the connections that ended since'
complete -c netinfo -n __netinfo_after -a records -d 'Show or remove the connection records'
complete -c netinfo -n __netinfo_after -a reset -d 'Start the totals of a type anew'
complete -c netinfo -n __netinfo_after -a settings -d 'Show or change the settings'
complete -c netinfo -n __netinfo_after -a devices -d 'Show every link and what it is counted as'
complete -c netinfo -n __netinfo_after -a help -d 'Show all about one command'

complete -c netinfo -n '__netinfo_after help' -a 'run live usage limit report history records reset settings devices help'
complete -c netinfo -n '__netinfo_after help limit' -a 'set clear'
complete -c netinfo -n '__netinfo_after help records' -a remove
complete -c netinfo -n '__netinfo_after help settings' -a 'list get set'

complete -c netinfo -n 'not __netinfo_in help' -l json -d 'JSON, for programs'
for command in run live report history records reset
    complete -c netinfo -n "__netinfo_in $command" -l module -r -F -d 'The module of the plug-in'
end
for command in __netinfo_after '__netinfo_in run' '__netinfo_in live' '__netinfo_in usage' '__netinfo_after limit' '__netinfo_in limit set' \
        '__netinfo_in report' '__netinfo_in history' '__netinfo_after records'
    complete -c netinfo -n $command -l units -x -a 'iec si bytes' -d 'The units of amounts'
end
for command in __netinfo_after '__netinfo_in run' '__netinfo_in live' '__netinfo_after limit' '__netinfo_in limit set'
    complete -c netinfo -n $command -l color -x -a 'auto always never' -d 'The colours'
end

complete -c netinfo -n '__netinfo_in run' -l quiet -d 'Show nothing'

complete -c netinfo -n '__netinfo_in usage' -l by -x -a 'hour day week month year type profile' -d 'What is put together'
complete -c netinfo -n '__netinfo_in usage' -l from -x -a '(__netinfo_moments)' -d 'The beginning'
complete -c netinfo -n '__netinfo_in usage' -l to -x -a '(__netinfo_moments)' -d 'The end'
complete -c netinfo -n '__netinfo_in usage' -l last -x -d 'So many, the present one included'
complete -c netinfo -n '__netinfo_in usage' -l type -x -a 'dial-up wifi adsl' -d 'One connection type alone'
complete -c netinfo -n '__netinfo_in usage' -l top -x -d 'Those with the most traffic'
complete -c netinfo -n '__netinfo_in usage' -l csv -d 'Comma-separated values'

complete -c netinfo -n '__netinfo_after limit' -a set -d 'Set the limit'
complete -c netinfo -n '__netinfo_after limit' -a clear -d 'Have no limit'
complete -c netinfo -n '__netinfo_in limit set' -l per -x -a 'month week day' -d 'The period'
complete -c netinfo -n '__netinfo_in limit set' -l warn -x -a '50% 75% 80% 90%' -d 'Warn at that part'
complete -c netinfo -n '__netinfo_in limit set' -l type -x -a 'dial-up wifi adsl' -d 'One connection type alone'

complete -c netinfo -n '__netinfo_in history' -l since -x -a '(__netinfo_moments)' -d 'Since when'

complete -c netinfo -n '__netinfo_after records' -a remove -d 'Remove connection records for good'
complete -c netinfo -n '__netinfo_after records' -l last -d 'The last record only'
complete -c netinfo -n '__netinfo_in records remove' -k -a '(__netinfo_records)'
complete -c netinfo -n '__netinfo_in records remove' -l yes -d 'Do not ask'

complete -c netinfo -n '__netinfo_after reset' -a 'dial-up wifi adsl'
complete -c netinfo -n '__netinfo_in reset' -l yes -d 'Do not ask'

complete -c netinfo -n '__netinfo_after settings' -a list -d 'Show every setting'
complete -c netinfo -n '__netinfo_after settings' -a get -d 'Show one setting'
complete -c netinfo -n '__netinfo_after settings' -a set -d 'Change one setting'
complete -c netinfo -n '__netinfo_after settings get' -a '(__netinfo_setting_keys)'
complete -c netinfo -n '__netinfo_after settings set' -a '(__netinfo_setting_keys)'
complete -c netinfo -n '__netinfo_after settings set week-start' \
    -a 'sunday monday tuesday wednesday thursday friday saturday default'
complete -c netinfo -n '__netinfo_after settings set month-start' -k -a '(seq 28) default'
complete -c netinfo -n '__netinfo_after settings set limit-command' -a none
complete -c netinfo -n '__netinfo_after settings set checkpoint' -k -a '60 300 3600 0 default'
complete -c netinfo -n '__netinfo_in "settings set link.*"' -a 'dial-up wifi adsl ignore auto'
