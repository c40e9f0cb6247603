#!/bin/sh
# man_pages_test.sh FOLDER COMMAND: each command has a page, a formatter finds nothing wrong with it, and what a reader
# sees tells every option and every sentence of the help.
set -u
folder=$1
command=$2
program=$(basename "$command")
failures=0

fail()
{
    echo "$*"
    failures=$((failures + 1))
}

# Words alone, one blank between: lines are broken in other places.
words() { tr -s ' \n\t' '  ' | sed 's/ $//'; }

commands=$("$command" --help | awk '/^Subcommands:/ { on = 1; next } /^$/ { on = 0 } on { print $1 }')
[ -n "$commands" ] || fail "$command --help names no commands"
for name in "" $commands; do
    page=$folder/man1/$program${name:+-$name}.1.gz
    if ! [ -f "$page" ]; then
        fail "$page is missing"
        continue
    fi
    faults=$(gzip -dc "$page" | mandoc -Tlint -W warning)
    [ -z "$faults" ] || fail "$page: $faults"
    shown=$(gzip -dc "$page" | mandoc -Tascii -O width=200 | sed "s/.\x08//g" | words)
    # shellcheck disable=SC2086 # no word where there is no name
    "$command" $name --help >help.txt
    # The first words of an item, its description, and the lines below.
    sed -n -e 's/ REQUIRED / /' -e 's/ Excludes: .*--[a-z]*//' -e 's/^Usage: //' -e 's/^Lintrix: //' -e 's/^  *//' \
        -e 's/^Exit code: 0 \([^,]*\),.*/\1/' -e '/^[A-Z][a-z]*:$/d' -e '/./p' help.txt | sed 's/   */\n/' >told.txt
    while IFS= read -r line; do
        line=$(printf '%s' "$line" | words)
        case $shown in
            *"$line"*) ;;
            *) fail "$page does not show: $line" ;;
        esac
    done <told.txt
done
set -- "$folder"/man1/*
[ $# -eq $(($(echo "$commands" | wc -w) + 1)) ] || fail "$folder has $# pages"
rm -f help.txt told.txt
exit $((failures > 0))
