#!/bin/sh
# The recording tools answer the daemon's listings from what was created, and fail when told to.
# usage: test.sh FOLDER_OF_THE_TOOLS
set -eu
PATH=$1:$PATH
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
export PACERD_RECORD="$dir/record"

fail() {
    echo "FAILED: $1" >&2
    exit 1
}
yes() { sh -c "$1" || fail "expected success: $1"; }
no() { if sh -c "$1" 2>"$dir/stderr"; then fail "expected failure: $1"; fi; }

yes 'qcfg --queue -A ptm0_q3 -i ptm0 -t egress -l 64 -m sp --priority 3 -d tail --map 3'
yes 'qcfg --queue -A ptm0_q4_ing -i ptm0 -t ingress -l 64 -m sp --priority 4 -d tail --map 4'
yes 'qcfg --queue -Lall -iptm0 | grep -qw ptm0_q3'
no 'qcfg --queue -Lall -iptm0 -tingress | grep -qw ptm0_q3'
yes 'qcfg --queue -Lall -iptm0 -tingress | grep -qw ptm0_q4_ing'
no 'qcfg --queue -Lall -iptm0 | grep -qw ptm0_q4_ing'
no 'qcfg --queue -Lall -iptm1 | grep -qw ptm0_q3'
yes 'qcfg --queue -M ptm0_q3 -i ptm0 -t egress -l 32'
no 'qcfg --queue -M ptm0_q5 -i ptm0 -t egress -l 32'

yes 'classcfg -A voip -i ptm0 -p udp -d 10.0.0.2'
yes 'classcfg -Lall -iptm0 | grep -qw voip'
no 'classcfg -Lall -ieth0 | grep -qw voip'

yes 'ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0'
yes 'ifcfg --ifmap -L | grep -q "CAT 2.*ppp0.*"'
no 'ifcfg --ifmap -L | grep -q "CAT 2.*ptm0.*"'
no 'ifcfg --ifmap -L | grep -q "INGGRP 2.*ppp0.*"'
yes 'ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0 -g2'
yes 'ifcfg --ifmap -D ppp0 -t2 -bptm0 -lptm0'
yes 'ifcfg --ifmap -L | grep -q "INGGRP 2.*ppp0.*"'
no 'ifcfg --ifmap -L | grep -q "CAT 2.*ppp0.*"'

yes 'ifcfg --ifmap -A ptm0 -t2 -bptm0 -lptm0'
yes 'ifcfg --ifmap -A ptm0 -t2 -bptm0 -lptm0'
yes 'ifcfg --ifmap -D ptm0 -t2 -bptm0 -lptm0'
yes 'ifcfg --ifmap -L | grep -q "CAT 2.*ptm0.*"'
yes 'ifcfg --ifmap -D ptm0 -t2 -bptm0 -lptm0'
no 'ifcfg --ifmap -D ptm0 -t2 -bptm0 -lptm0'

yes 'qcfg --port -A shape_wan -i ptm0 -s cb --pir 50000 -t egress'
yes 'qcfg --port -A shape_wan -i ptm0 -s cb --pir 40000 -t egress'
yes 'qcfg --port -D shape_wan -i ptm0 -s cb --pir 40000 -t egress'
no 'qcfg --port -D shape_wan -i ptm0 -s cb --pir 40000 -t egress'

no 'qcfg --cake -A x'
no 'classcfg --help'

last=$(tail -n 1 "$PACERD_RECORD")
[ "$last" = 'classcfg --help' ] || fail "last line recorded: $last"
changes=$(grep -c -e ' -[AMD] ' "$PACERD_RECORD")
echo "$((changes + 2))" >"$PACERD_RECORD.fail"
yes 'classcfg -A first -i lo -p udp'
no 'classcfg -A second -i lo -p udp'
yes 'classcfg -A third -i lo -p udp'
[ "$(classcfg -Lall -ilo)" = "first
third" ] || fail 'the failed call had an effect'
echo 'recording tools: all as expected'
