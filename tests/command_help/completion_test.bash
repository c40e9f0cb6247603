#!/bin/bash
# completion_test.bash COMPLETION COMMAND: what bash offers after the words of a line, with the last one unfinished.
set -u
# shellcheck disable=SC1090 # the file is told
. "$1"
command=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
touch 'a matrix.mtx' other.mtx
failures=0

# offers WORDS...: one line of what is offered, sorted.
offers()
{
    COMP_WORDS=("$command" "$@")
    COMP_CWORD=$#
    COMPREPLY=()
    _lintrix
    printf '%s\n' "${COMPREPLY[@]}" | sort | paste -sd '|'
}

expect() # LINE WORDS...
{
    local expected=$1 found
    shift
    found=$(offers "$@")
    if [ "$found" != "$expected" ]; then
        echo "After '$*': offered '$found', expected '$expected'"
        failures=$((failures + 1))
    fi
}

of_lintrix()
{
    expect 'analyse|convert|eig|info|solve|svd' ''
    expect 'solve|svd' s
    expect '--help|--version|-h' -
    expect 'a matrix.mtx|other.mtx' solve ''
    expect 'a matrix.mtx' solve a
    expect '--rhs' solve --rh
    expect 'a matrix.mtx|other.mtx' solve --rhs ''
    expect 'auto|indefinite|positive-definite|structurally-symmetric|unsymmetric' solve --type ''
    expect 'auto|indefinite|positive-definite|structurally-symmetric|unsymmetric' solve --type =
    expect 'positive-definite' solve --type = p
    expect 'lanczos|restarted' svd --method ''
    expect '' solve --threads ''
    expect 'a matrix.mtx|other.mtx' solve --json ''
}

of_lintrix_mpi()
{
    expect 'solve' ''
    expect '--help|--version|-h' -
    expect 'a matrix.mtx|other.mtx' solve --rhs ''
    expect '' solve --memory ''
}

commands=$("$command" --help | awk '/^Subcommands:/ { on = 1; next } /^$/ { on = 0 } on { print $1 }')
program=$(basename "$command")
"of_${program//-/_}"

# Each option that the help of a command tells, and no other.
for name in '' $commands; do
    told=$("$command" $name --help | grep -oE '^  -[^ ]+' | tr -d ' ' | tr ',' '\n' | sort | paste -sd '|')
    if [ -z "$told" ]; then echo "No options are told of '$name'" && failures=$((failures + 1)); fi
    expect "$told" $name -
done
exit $((failures > 0))
