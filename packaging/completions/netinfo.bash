# What bash offers for netinfo.

# Offers those of the words that go on from what is typed. They may be names of links, which are any text: compgen
# would execute what looks like a command in them.
_netinfo_offer() {
    local word quoted
    for word; do
        [[ $word == "$current"* ]] || continue
        printf -v quoted %q "$word"
        COMPREPLY+=("$quoted")
    done
}

_netinfo_links() {
    local link
    for link in /sys/class/net/*/; do
        link=${link%/}
        links+=("${link##*/}")
    done
}

_netinfo() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    COMPREPLY=()
    # --by=month comes as three words.
    [[ $current == = ]] && current=
    [[ $previous == = ]] && previous=${COMP_WORDS[COMP_CWORD - 2]}

    case $previous in
        --units) _netinfo_offer iec si bytes; return ;;
        --color) _netinfo_offer auto always never; return ;;
        --by) _netinfo_offer hour day week month year type profile; return ;;
        --per) _netinfo_offer month week day; return ;;
        --type) _netinfo_offer dial-up wifi adsl; return ;;
        --warn) _netinfo_offer 50% 75% 80% 90%; return ;;
        --from | --to | --since) _netinfo_offer "$(date +%F)" 12h 7d 4w; return ;;
        --last | --top) return ;;  # a number
        --module)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return
            ;;
    esac

    # The words before the present one that are neither options nor their values.
    local -a words=()
    local -i i
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
            --units | --color | --by | --per | --type | --warn | --from | --to | --since | --last | --top | --module)
                [[ ${COMP_WORDS[i + 1]} == = ]] && ((++i))
                ((++i))
                ;;
            -*) ;;
            *) words+=("${COMP_WORDS[i]}") ;;
        esac
    done

    local -a links=()
    local options=
    case "${words[*]}" in
        '')
            _netinfo_offer run live usage limit report history records reset settings devices help
            options='--units --color --json --version'
            ;;
        run) options='--quiet --json --units --color --module' ;;
        live) options='--units --color --module --json' ;;
        usage) options='--by --from --to --last --type --top --csv --json --units' ;;
        limit)
            _netinfo_offer set clear
            options='--units --color --json'
            ;;
        'limit set'*) options='--per --warn --type --units --color --json' ;;
        'limit clear') options='--json' ;;
        report) options='--units --module --json' ;;
        history) options='--since --units --module --json' ;;
        records)
            _netinfo_offer remove
            options='--last --units --module --json'
            ;;
        'records remove'*)
            # shellcheck disable=SC2046  # a list of numbers
            [[ $current == -* ]] || _netinfo_offer $(netinfo records 2>/dev/null | awk 'NR > 1 { print $1 }')
            options='--yes --module --json'
            ;;
        reset)
            _netinfo_offer dial-up wifi adsl
            options='--yes --module --json'
            ;;
        reset*) options='--yes --module --json' ;;
        settings)
            _netinfo_offer list get set
            options='--json'
            ;;
        'settings list') options='--json' ;;
        'settings get' | 'settings set')
            _netinfo_links
            _netinfo_offer week-start month-start limit-command checkpoint "${links[@]/#/link.}"
            options='--json'
            ;;
        'settings set week-start')
            _netinfo_offer sunday monday tuesday wednesday thursday friday saturday default
            options='--json'
            ;;
        'settings set month-start')
            _netinfo_offer {1..28} default
            options='--json'
            ;;
        'settings set limit-command')
            _netinfo_offer none
            options='--json'
            ;;
        'settings set checkpoint')
            _netinfo_offer 60 300 3600 0 default
            options='--json'
            ;;
        'settings set link.'*)
            _netinfo_offer dial-up wifi adsl ignore auto
            options='--json'
            ;;
        'settings get'* | 'settings set'*) options='--json' ;;
        devices) options='--json' ;;
        help)
            _netinfo_offer run live usage limit report history records reset settings devices help
            ;;
        'help limit') _netinfo_offer set clear ;;
        'help records') _netinfo_offer remove ;;
        'help settings') _netinfo_offer list get set ;;
        *) return ;;
    esac
    # shellcheck disable=SC2086  # a list of words
    [[ $current == -* ]] && _netinfo_offer $options --help
}

complete -F _netinfo netinfo
