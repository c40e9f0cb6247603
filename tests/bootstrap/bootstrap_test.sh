#!/bin/sh
# bootstrap_test.sh CASE BOOTSTRAP WORK: runs require_packages of BOOTSTRAP with stand-ins alone on the PATH. They
# note each call in WORK/calls; what was printed is in WORK/said.
set -eu
case=$1 bootstrap=$2 work=$3
rm -rf "$work"
mkdir -p "$work/bin"
ln -s "$(command -v env)" "$work/bin/env"

# stand_in NAME BODY: a command that notes its call, then does BODY.
stand_in()
{
    printf '#!/bin/sh\necho "%s $*" >>"%s/calls"\n%s\n' "$1" "$work" "$2" >"$work/bin/$1"
    chmod +x "$work/bin/$1"
}

# A Debian with the package "here" and without "gone" and "lost", as seen by user number $1.
debian()
{
    stand_in dpkg-query 'for last; do :; done; if [ "$last" = here ]; then printf installed; else exit 1; fi'
    stand_in id "echo $1"
    stand_in apt-get 'exit 0'
}

# require PACKAGE...: the exit code is left in $code.
require() { ask require_packages "$@"; }
want() { ask want_packages "$@"; }

ask()
{
    code=0
    PATH="$work/bin" /bin/sh -c '. "$0"; "$@"' "$bootstrap" "$@" >"$work/said" 2>&1 || code=$?
}

calls() { grep -v -e '^dpkg-query' -e '^id' "$work/calls" || true; }

# expect WHAT ACTUAL WANTED
expect()
{
    if [ "$2" != "$3" ]; then
        printf '%s is\n%s\nand should be\n%s\n' "$1" "$2" "$3"
        exit 1
    fi
}

installation="apt-get install -y --no-install-recommends gone lost"

NothingIsSaidOrDoneWhenAllIsThere()
{
    debian 0
    require here
    expect "exit code" $code 0
    expect "what is said" "$(cat "$work/said")" ""
    expect "what is called" "$(calls)" ""
}

RootInstallsWhatIsMissingAndSaysSo()
{
    debian 0
    require gone here lost
    expect "exit code" $code 0
    expect "what is said" "$(cat "$work/said")" "Installing from Debian: gone lost"
    expect "what is called" "$(calls)" "apt-get install --simulate gone lost
$installation"
}

ListsAreFetchedWhenTheyWillNotDo()
{
    debian 0
    stand_in apt-get 'test "$2" != --simulate'
    require gone lost
    expect "exit code" $code 0
    expect "what is called" "$(calls)" "apt-get install --simulate gone lost
apt-get update
$installation"
}

StaleListsAreFetchedAndTriedOnceMore()
{
    debian 0
    stand_in apt-get "case \"\$1 \$2\" in
    'update ') : >'$work/fresh' ;;
    'install -y') test -e '$work/fresh' ;;
    esac"
    require gone lost
    expect "exit code" $code 0
    expect "what is called" "$(calls)" "apt-get install --simulate gone lost
$installation
apt-get update
$installation"
}

OthersInstallThroughSudo()
{
    debian 1000
    stand_in sudo 'exec "$@"'
    require gone lost
    expect "exit code" $code 0
    expect "what is called" "$(calls)" "apt-get install --simulate gone lost
sudo env DEBIAN_FRONTEND=noninteractive $installation
$installation"
}

WithoutRootAndSudoItTellsWhatToDo()
{
    debian 1000
    require gone lost
    expect "exit code" $code 1
    expect "what is said" "$(cat "$work/said")" \
        "$bootstrap: these packages are missing, and neither root nor sudo is at hand. As root:
    apt-get install gone lost"
    expect "what is called" "$(calls)" ""
}

AFailedInstallationIsAFailure()
{
    debian 0
    stand_in apt-get 'exit 100'
    require gone lost
    expect "exit code" $code 1
    expect "last line said" "$(tail -n 1 "$work/said")" "$bootstrap: the packages could not be installed: gone lost"
}

WhatIsOnlyWantedIsInstalledToo()
{
    debian 0
    want gone here lost
    expect "exit code" $code 0
    expect "what is said" "$(cat "$work/said")" "Installing from Debian: gone lost"
    expect "what is called" "$(calls)" "apt-get install --simulate gone lost
$installation"
}

WhatIsOnlyWantedAndCannotBeHadIsTold()
{
    debian 0
    stand_in apt-get 'exit 100'
    want gone lost
    expect "exit code" $code 0
    expect "what is said" "$(cat "$work/said")" "Installing from Debian: gone lost
$bootstrap: the packages could not be installed: gone lost
Going on without them; what needs them is neither built nor tested."
}

OtherSystemsGoOnWithTheToolsTheyHave()
{
    for tool in c++ cmake ninja pkg-config; do stand_in $tool ''; done
    require here gone
    expect "exit code" $code 0
    expect "what is said" "$(cat "$work/said")" \
        "This is no Debian system, so nothing is installed here. Needed, by Debian's names: here gone"
}

OtherSystemsWithoutAToolAreTold()
{
    for tool in c++ cmake pkg-config; do stand_in $tool ''; done
    require here gone
    expect "exit code" $code 1
    expect "last line said" "$(tail -n 1 "$work/said")" "$bootstrap: ninja was not found"
}

"$case"
