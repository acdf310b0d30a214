#!/bin/sh
# The daemon on this platform: builds it, brings the WAN up, down and up with a file of rows, stops it, and compares
# every command line.
# usage: test.sh SOURCE_FOLDER BUILD_FOLDER FOLDER_OF_THE_RECORDING_TOOLS [CMAKE_OPTION...]
set -eu
source=$1
build=$2
tools=$3
shift 3

fail() {
    echo "FAILED: $1" >&2
    [ ! -f "$dir/log" ] || tail -n 20 "$dir/log" >&2
    exit 1
}

dir=$(mktemp -d)
daemon=
cleanup() {
    [ -z "$daemon" ] || kill "$daemon" 2>/dev/null || :
    rm -rf "$dir"
}
trap cleanup EXIT

# A cache from another compiler would drop the platform; the objects stay, so that this costs a second.
rm -rf "$build/CMakeCache.txt" "$build/CMakeFiles"
cmake -S "$source" -B "$build" -DPACERD_PLATFORM="$source/tests/support/memory-platform" -DPACERD_TESTS=OFF \
    -DCMAKE_BUILD_TYPE=Release "$@" >"$dir/log" 2>&1 || fail 'configuring'
cmake --build "$build" --target pacerd_ng >"$dir/log" 2>&1 || fail 'building'

# Takes the place of the database's rows at once.
database() {
    cat >"$dir/rows.new" <<ROWS
# the line's state is $1
StatusDsl Status=$1 StatusString="state \"$1\""
NetworkSetupNode Id=9 Enable=1 InterfaceName="ptm0" Type="XDSL" ParentInterface="root"
NetworkSetupNode Id=7 Enable=1 InterfaceName="ppp0" Type="PPP" ParentInterface="ptm0"
StatusNetifWatchLogical Name="ProviderInternet" Interface="ppp0" IsUp=1 Addr="192.0.2.7"
QoSShaper Enable=1 InterfaceName="ptm0" ShapeEgress=1 ShapeIngress=0 ShapingRate=50000

QoSQueues Enable=1 Name="voip" InterfaceName="ProviderInternet" TrafficClasses="5,6" BufferLen=64 Precedence=3 Egress=1 Scheduler="SP" DropAlgorithm="DT"
QoSClassificationAction
QoSClassification
ROWS
    mv "$dir/rows.new" "$dir/rows"
}

# Waits until the record has that many lines with that option.
wait_for() {
    tries=0
    until [ "$(grep -c -e "$2" "$dir/record" 2>/dev/null || :)" = "$1" ]; do
        tries=$((tries + 1))
        [ "$tries" -lt 200 ] || fail "waited for $1 lines with '$2'"
        sleep 0.05
    done
}

database 4
PATH="$tools:$PATH" PACERD_RECORD="$dir/record" PACERD_MEMORY_DB="$dir/rows" PACERD_MEMORY_PIDDIR="$dir" \
    "$build/bin/pacerd_ng" -d 2 2>"$dir/log" &
daemon=$!
wait_for 5 ' -A '
database 1
wait_for 5 ' -D '
database 4
wait_for 10 ' -A '
kill -TERM "$daemon"
status=0
wait "$daemon" || status=$?
daemon=
[ "$status" = 0 ] || fail "exit status $status"
wait_for 10 ' -D '

cat >"$dir/once" <<'LINES'
ifcfg --ifmap -L
ifcfg --ifmap -L
ifcfg --ifmap -L
qcfg --queue -Lall -ippp0
ifcfg --ifmap -A ptm0 -t2 -bptm0 -lptm0
ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0
ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0 -g2
qcfg --queue -A ppp0_q3 -i ppp0 -t egress -l 64 -m sp --priority 3 -d tail --map 3
qcfg --port -A shape_wan -i ptm0 -s cb --pir 50000 -t egress
qcfg --queue -D ppp0_q3 -i ppp0 -t egress -l 64 -m sp --priority 3 -d tail --map 3
qcfg --port -D shape_wan -i ptm0 -s cb --pir 50000 -t egress
ifcfg --ifmap -D ppp0 -t2 -bptm0 -lptm0 -g2
ifcfg --ifmap -D ppp0 -t2 -bptm0 -lptm0
ifcfg --ifmap -D ptm0 -t2 -bptm0 -lptm0
LINES
cat "$dir/once" "$dir/once" >"$dir/expected"
diff "$dir/expected" "$dir/record" >&2 || fail 'other commands than expected'
grep -q "DSL has state 'state \"4\"'\$" "$dir/log" || fail 'the state of the line was not logged'
! grep -e ' error ' -e ' warning .*retry' "$dir/log" >&2 || fail 'errors were logged'
[ ! -s "$dir/record.objects" ] || fail "left behind: $(cat "$dir/record.objects")"
echo 'the daemon on the memory platform: all as expected'
