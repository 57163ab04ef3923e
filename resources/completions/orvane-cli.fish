# fish completion for orvane-cli: its commands, each command's options and their values, files.
# Installed as share/fish/vendor_completions.d/orvane-cli.fish. The options are those of each
# command's --help.

# Browser ids for --browser, from the program's own list (`orvane-cli browsers`, the first word of
# each line) where it has one; nothing where it has not.
function __orvane_cli_browsers
    set -l program (commandline -opc)[1]
    $program browsers 2>/dev/null | string replace -r '\s.*' ''
end

set -l commands sort restore print convert browsers help
set -l command "__fish_seen_subcommand_from $commands"

complete -c orvane-cli -f
complete -c orvane-cli -n "not $command" -a sort -d 'Sort a bookmarks file, keeping a one-time backup'
complete -c orvane-cli -n "not $command" -a restore -d 'Put the initial backup back in place of the bookmarks file'
complete -c orvane-cli -n "not $command" -a print -d 'Show a bookmarks file as an outline, or as JSON'
complete -c orvane-cli -n "not $command" -a convert -d 'Convert a property list to binary or XML'
complete -c orvane-cli -n "not $command" -a browsers -d 'List every browser profile found, with its bookmarks file'
complete -c orvane-cli -n "not $command" -a help -d 'Show the commands'
complete -c orvane-cli -n "not $command" -l version -d 'Show the name and version'
complete -c orvane-cli -s h -l help -d 'Show the help'

complete -c orvane-cli -n "__fish_seen_subcommand_from sort restore print convert" -F
complete -c orvane-cli -n "__fish_seen_subcommand_from sort" -l folders-at-top -d 'Put folders ahead of bookmarks (default)'
complete -c orvane-cli -n "__fish_seen_subcommand_from sort" -l no-folders-at-top -d 'Keep folders among bookmarks'
complete -c orvane-cli -n "__fish_seen_subcommand_from sort" -l remove-duplicates -d 'Drop repeated addresses (default)'
complete -c orvane-cli -n "__fish_seen_subcommand_from sort" -l no-remove-duplicates -d 'Keep repeated addresses'
complete -c orvane-cli -n "__fish_seen_subcommand_from sort" -l rename-samenamed -d 'Give same-named entries distinct names (default)'
complete -c orvane-cli -n "__fish_seen_subcommand_from sort" -l no-rename-samenamed -d 'Leave same names as they are'
complete -c orvane-cli -n "__fish_seen_subcommand_from sort" -l sort-bookmarks-bar -d 'Sort the Bookmarks Bar itself too'
complete -c orvane-cli -n "__fish_seen_subcommand_from sort" -l no-sort-bookmarks-bar -d 'Keep the order of the Bookmarks Bar (default)'
complete -c orvane-cli -n "__fish_seen_subcommand_from sort restore" -l backup -r -F -d 'The initial backup'
complete -c orvane-cli -n "__fish_seen_subcommand_from sort" -l no-backup -d 'Write no backup'
complete -c orvane-cli -n "__fish_seen_subcommand_from sort restore print" -l browser -x -a '(__orvane_cli_browsers)' -d 'That browser profile'
complete -c orvane-cli -n "__fish_seen_subcommand_from sort" -l ignore-sync -d 'Sort a profile whose bookmarks the browser syncs'
complete -c orvane-cli -n "__fish_seen_subcommand_from sort" -s n -l dry-run -d 'Write nothing; report what a sort would do'
complete -c orvane-cli -n "__fish_seen_subcommand_from sort print" -l json -d 'Print as JSON, for scripts'
complete -c orvane-cli -n "__fish_seen_subcommand_from convert" -s f -l format -x -a 'binary xml' -d 'The output format'
complete -c orvane-cli -n "__fish_seen_subcommand_from convert" -s o -l output -r -F -d 'The output file'
