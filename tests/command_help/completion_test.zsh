#!/bin/zsh -f
# completion_test.zsh COMPLETION COMMAND: what zsh offers after the words of a line, with the last one unfinished. The
# functions of its completion system are replaced by such as tell what they are given.
completion=$1
program=$2
failures=0

compadd() { shift; print -l -- $@; }
_files() { print FILES; }
_message() { print "MESSAGE $1"; }
_describe() { print -l -- ${(P)2}; }
compset() { PREFIX=${PREFIX#*=}; }

complete_line() { source $completion; }

# offers WORDS...: what is offered, without descriptions, sorted, on one line.
offers()
{
  local -a words=($program "$@")
  local CURRENT=$#words PREFIX=$words[-1]
  complete_line | sed 's/:.*//' | sort | paste -sd '|'
}

expect() # LINE WORDS...
{
  local expected=$1 found
  shift
  found=$(offers "$@")
  if [[ $found != $expected ]]; then
    print "After '$*': offered '$found', expected '$expected'"
    ((++failures))
  fi
}

of_lintrix()
{
  expect 'analyse|convert|eig|info|solve|svd' ''
  expect '--help|--version|-h' -
  expect FILES solve ''
  expect FILES solve --rhs ''
  expect 'auto|indefinite|positive-definite|structurally-symmetric|unsymmetric' solve --type ''
  expect 'auto|indefinite|positive-definite|structurally-symmetric|unsymmetric' solve --type=
  expect 'lanczos|restarted' svd --method ''
  expect 'MESSAGE N' solve --threads ''
  expect FILES solve --json ''
}

of_lintrix_mpi()
{
  expect solve ''
  expect '--help|--version|-h' -
  expect FILES solve --rhs ''
  expect 'MESSAGE MB' solve --memory ''
}

known=(${(f)"$($program --help | awk '/^Subcommands:/ { on = 1; next } /^$/ { on = 0 } on { print $1 }')"})
of_${${program:t}//-/_}

# Each option that the help of a command tells, and no other.
for name in '' $known; do
  told=$($program ${name:+$name} --help | grep -oE '^  -[^ ]+' | tr -d ' ' | tr ',' '\n' | sort | paste -sd '|')
  [[ -n $told ]] || { print "No options are told of '$name'"; ((++failures)); }
  expect $told ${name:+$name} -
done
exit $((failures > 0))
