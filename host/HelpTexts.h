#pragma once

/// What `--help` teaches below the list of options, command by command. Lines fit 80 columns.

namespace netinfo::help {

inline constexpr const char* PROGRAM =
    "Examples:\n"
    "  netinfo                              what the links do now, and what was used\n"
    "  netinfo run                          count, and show a table until Ctrl-C\n"
    "  netinfo live                         watch the speeds of the last minutes\n"
    "  netinfo usage --by month             what each month has used\n"
    "  netinfo limit set 20GB --warn 80%    be warned before 20 GB a month are used\n"
    "  netinfo report                       today, this week, month and year\n"
    "  netinfo history --since 7d           what ended in the last seven days\n"
    "  netinfo devices                      every link, and what it is counted as\n"
    "  netinfo help usage                   all about one command\n"
    "\n"
    "Exit codes: 0 done, 1 failed, 2 wrong usage.";

inline constexpr const char* RUN =
    "Examples:\n"
    "  netinfo run                          a table, redrawn every second\n"
    "  netinfo run > log                    a line for each change of the figures\n"
    "  netinfo run --json | jq .download_speed\n"
    "\n"
    "Ctrl-C, SIGTERM and the end of the terminal save and end. Links are counted as\n"
    "netinfo devices says. To have it started at login, as a service that says only\n"
    "what goes wrong: systemctl --user enable --now netinfo";

inline constexpr const char* LIVE =
    "Examples:\n"
    "  netinfo live                         table and graphs, redrawn every second\n"
    "  netinfo live --units si\n"
    "  netinfo live | tee log               a line for each change of the figures\n"
    "\n"
    "Shows what the running netinfo counts, and leaves it running when it ends. If\n"
    "none is running, it counts itself, like netinfo run. A graph has a column for\n"
    "each second, the latest at the right; the fastest one fills its height.";

inline constexpr const char* REPORT =
    "Examples:\n"
    "  netinfo report\n"
    "  netinfo report --json | jq '.types[] | {type, month}'\n"
    "\n"
    "Weeks and months begin on the days that netinfo settings says. The connected\n"
    "time of all types together stands with the type that the data file has first.";

inline constexpr const char* HISTORY =
    "Examples:\n"
    "  netinfo history --since 7d\n"
    "  netinfo history --since '2024-05-01 12:30'\n"
    "\n"
    "A connection counts with all of its traffic by its end; all that ended today\n"
    "count.";

inline constexpr const char* RECORDS =
    "Examples:\n"
    "  netinfo records                      every connection, the oldest first\n"
    "  netinfo records --last               the latest one\n"
    "  netinfo records remove 0-4           forget the five oldest";

inline constexpr const char* RECORDS_REMOVE =
    "Examples:\n"
    "  netinfo records remove 3             asks before it removes\n"
    "  netinfo records remove 0-4 7 --yes   six of them, without asking";

inline constexpr const char* RESET =
    "Examples:\n"
    "  netinfo reset wifi                   asks before it resets\n"
    "  netinfo reset dial-up --yes\n"
    "\n"
    "All connection records but the last are removed as well, whatever their type.\n"
    "What netinfo usage shows stays.";

inline constexpr const char* USAGE =
    "Examples:\n"
    "  netinfo usage                        the last 30 days\n"
    "  netinfo usage --by month --last 6    six months, the present one included\n"
    "  netinfo usage --by hour --from 2024-05-01 --to 2024-05-01\n"
    "  netinfo usage --by day --from 2024-01-01 --top 10\n"
    "  netinfo usage --by profile --type wifi --from 30d\n"
    "\n"
    "WHEN is 2024-05-01, '2024-05-01 12:00', or a span back: 12h, 7d, 4w. Weeks and\n"
    "months begin on the days that netinfo settings says. Kept are whole hours, each\n"
    "of which counts by its start.";

inline constexpr const char* LIMIT =
    "Examples:\n"
    "  netinfo limit                        used, left, and the forecast\n"
    "  netinfo limit set 20GB               a month, with a warning at 80 %\n"
    "  netinfo limit set 500MiB --per day --type wifi --warn 90%\n"
    "  netinfo limit clear\n"
    "  netinfo settings set limit-command 'notify-send \"$NETINFO_LIMIT_MESSAGE\"'\n"
    "\n"
    "GB is decimal, GiB binary. The running netinfo warns once in a period at the\n"
    "warning and once at the limit, and runs the command.";

inline constexpr const char* LIMIT_SET =
    "Examples:\n"
    "  netinfo limit set 20GB\n"
    "  netinfo limit set 500MiB --per day --type wifi --warn 90%";

inline constexpr const char* LIMIT_CLEAR =
    "Example:\n"
    "  netinfo limit clear";

inline constexpr const char* SETTINGS =
    "Settings:\n"
    "  week-start     the weekday on which a week begins: sunday ... saturday\n"
    "  month-start    the day on which a month begins: 1 ... 28\n"
    "  limit-command  what the shell executes at the limit and at the warning before\n"
    "                 it, or none\n"
    "  checkpoint     seconds that a power cut may cost: 1 ... 86400, or 0 to write\n"
    "                 only when a connection ends; 300 unless set\n"
    "  link.NAME      what the link NAME is counted as: dial-up, wifi, adsl, ignore,\n"
    "                 or auto for no rule\n"
    "\n"
    "Examples:\n"
    "  netinfo settings set week-start monday\n"
    "  netinfo settings set link.eth0 wifi";

inline constexpr const char* SETTINGS_LIST =
    "Example:\n"
    "  netinfo settings list --json";

inline constexpr const char* SETTINGS_GET =
    "Example:\n"
    "  netinfo settings get month-start";

inline constexpr const char* SETTINGS_SET =
    "Examples:\n"
    "  netinfo settings set month-start 15\n"
    "  netinfo settings set link.eth1 ignore\n"
    "  netinfo settings set week-start default";

inline constexpr const char* DEVICES =
    "Examples:\n"
    "  netinfo devices\n"
    "  netinfo settings set link.eth0 adsl  count eth0 as ADSL from now on";

inline constexpr const char* HELP =
    "Examples:\n"
    "  netinfo help usage\n"
    "  netinfo help limit set";

}  // namespace netinfo::help
