#!/bin/sh
# interface_test.sh INTERFACE LIBRARY ROOT HEADERS WORK: the script tells what came and what went, and fails for the latter.
set -eu
interface=$1
library=$2
root=$3
headers=$4
work=$5
rm -rf "$work"
mkdir -p "$work"

fail()
{
    echo "$*"
    exit 1
}

sh "$interface" list "$library" "$root" "$headers" >"$work/now"
for line in 'header lintrix/dense/matrix.h' 'member VectorView::size' 'member DenseMatrix::begin' 'member SystemAnswer::verdict' \
    'member MatrixMarketTriplets::cols' 'symbol Velmar::Lintrix::LibraryVersion()' \
    'symbol Velmar::Lintrix::LinearSystem<double>::Solve(Velmar::Lintrix::Vector const&, Velmar::Lintrix::TransposeMode)' \
    'symbol typeinfo for Velmar::Lintrix::SizeMismatchException'; do
    grep -qxF "$line" "$work/now" || fail "not listed: $line"
done
if grep -E '^symbol (std::|[a-z ]+ for std::)' "$work/now"; then fail "the standard library is no interface of ours"; fi
if grep -F 'detail::engine::' "$work/now"; then fail "what only the tests call is no interface"; fi

if grep -E '^member .*(_|::(cells|resizeTo|digits|std))$' "$work/now"; then fail "what is private is no interface"; fi

said=$(sh "$interface" compare "$work/now" "$library" "$root" "$headers")
[ -z "$said" ] || fail "without a change it says: $said"

grep -vx 'symbol Velmar::Lintrix::LibraryVersion()' "$work/now" >"$work/before"
said=$(sh "$interface" compare "$work/before" "$library" "$root" "$headers")
[ "$said" = 'added    symbol Velmar::Lintrix::LibraryVersion()' ] || fail "what was added is told so: $said"

{
    cat "$work/now"
    echo 'header lintrix/old.h'
    echo 'symbol Velmar::Lintrix::Old()'
} | LC_ALL=C sort >"$work/before"
if said=$(sh "$interface" compare "$work/before" "$library" "$root" "$headers"); then fail "what is removed passed"; fi
[ "$said" = 'REMOVED  header lintrix/old.h
REMOVED  symbol Velmar::Lintrix::Old()' ] || fail "what was removed is told so: $said"

# A member that is compiled into programs and stands in no library.
(cd "$root" && xargs cp --parents -t "$work" <"$headers")
sed -i '/ size() const/d' "$work/lintrix/dense/views.h"
if said=$(sh "$interface" compare "$work/now" "$library" "$work" "$headers"); then fail "a member that is gone passed"; fi
[ "$said" = 'REMOVED  member VectorView::size' ] || fail "the member that is gone is told so: $said"

if sh "$interface" compare "$work/none" "$library" "$root" "$headers" 2>/dev/null; then fail "a record that is not there passed"; fi
if sh "$interface" compare 2>/dev/null; then fail "wrong usage passed"; fi
