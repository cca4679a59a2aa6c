#!/bin/bash
# Follows a command and a change of a node, first in one process and then between three: a private bus daemon, the
# simulated stack service and the command-line tool. Takes a few seconds.
set -euo pipefail

if [[ $# != 1 || ! -x $1/bin/hevractl ]]; then
  echo "usage: $0 BUILD_DIR, the folder with bin/hevractl, such as build/dev" >&2
  exit 2
fi
build=$(readlink -f "$1")
scratch=$(mktemp -d -p /tmp)  # in /tmp, because the path of a socket must be short
pids=()

clean_up() {
  local pid
  for pid in "${pids[@]}"; do
    kill "$pid" 2>/dev/null || continue
    wait "$pid" || true
  done
  rm -rf "$scratch"
}
trap clean_up EXIT

step() { printf '\n== %s\n' "$*"; }

# Prints a command line of hevractl, runs it, and prints its exit status.
run() {
  local status=0
  printf '$ hevractl %s\n' "$*"
  "$build/bin/hevractl" "$@" 2>&1 || status=$?
  printf '(exit status %d)\n' "$status"
}

# Waits at most a minute until a file has one line, or the given number of lines.
await() {
  local tries
  for tries in {1..1200}; do
    [[ -e $1 ]] && (($(wc -l <"$1") >= ${2-1})) && return
    sleep 0.05
  done
  echo "$0: no '$1' with ${2-1} lines after ${tries} tries" >&2
  exit 1
}

step "One process: an application, the proxies, the in-process bus and the simulated stack service"
"$build/examples/in_process"

step "Three processes: a private bus daemon,"
cat >"$scratch/bus.conf" <<END
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <listen>unix:path=$scratch/bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*"/>
    <allow receive_type="method_call"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
    <allow receive_type="signal"/>
    <allow own="*"/>
    <allow user="*"/>
  </policy>
</busconfig>
END
dbus-daemon --config-file="$scratch/bus.conf" --nofork --nosyslog --print-address >"$scratch/address" 2>"$scratch/log" &
pids=($!)
await "$scratch/address"
export HEVRA_BUS=unix:path=$scratch/bus
echo "\$ export HEVRA_BUS=$HEVRA_BUS"

step "the simulated stack service,"
echo '$ hevra-stackd --pace 100 &'
"$build/bin/hevra-stackd" --pace 100 >"$scratch/ready" &
pids=($! "${pids[@]}")
await "$scratch/ready"
cat "$scratch/ready"

step "and the command-line tool: a reset of the radio daughter board"
run reset

step "A group of commands with a value of every type: each line is a report from the service"
cat >"$scratch/house.json" <<'END'
[{"id": 1,  "address": 1193046, "write": true, "value": {"type": "b", "value": true}, "label": "lamp"},
 {"id": 2,  "address": 1193046, "value": {"type": "y", "value": 255}},
 {"id": 3,  "address": 1193046, "value": {"type": "n", "value": -32768}},
 {"id": 4,  "address": 1193046, "value": {"type": "q", "value": 65535}},
 {"id": 5,  "address": 1193046, "value": {"type": "i", "value": -2147483648}},
 {"id": 6,  "address": 1193046, "value": {"type": "u", "value": 4294967295}},
 {"id": 7,  "address": 1193046, "value": {"type": "x", "value": -9223372036854775808}},
 {"id": 8,  "address": 1193046, "value": {"type": "t", "value": 18446744073709551615}},
 {"id": 9,  "address": 1193046, "value": {"type": "d", "value": 21.5}, "label": "room temperature"},
 {"id": 10, "address": 1193046, "value": {"type": "s", "value": "good evening"}},
 {"id": 11, "address": 1193046, "value": {"type": "ay", "value": "00ff10"}},
 {"id": 12, "address": 1193046}]
END
cd "$scratch"
run send --group house house.json

step "The same reports in JSON"
echo '[{"id": 7, "parameterId": 18446744073709551615}]' >one.json
run --json send --group one one.json

step "A command with a delay of an hour, which another process cancels"
echo '[{"id": 1, "delay": 3600, "label": "shutter"}]' >late.json
"$build/bin/hevractl" --app waiting send --group late late.json >"$scratch/late" &
waiting=$!
pids=("$waiting" "${pids[@]}")
await "$scratch/late"
run cancel --key late_1
echo '$ hevractl --app waiting send --group late late.json'
status=0
wait "$waiting" || status=$?
cat "$scratch/late"
echo "(exit status $status)"
pids=("${pids[@]:1}")

step "The nodes of the service; keys are masked"
run nodes

step "hevractl watch prints changes: of a node, of a link, by a command, of a key"
echo '$ hevractl watch &'
"$build/bin/hevractl" watch >"$scratch/watch" &
watching=$!
pids=("$watching" "${pids[@]}")
await "$scratch/watch"
"$build/bin/hevractl" --json nodes --class 1 | sed 's/"minRefreshTimePeriod":60/"minRefreshTimePeriod":300/' >sensor.json
run node set sensor.json --action 1
run link set --node 0x123456 --stack 0x1000 --id hall --type 0 --action 0
run link id 0x123456 --type 0
echo '[{"id": 1, "address": 1193046, "write": true, "value": {"type": "y", "value": 42}}]' >dim.json
run send --group dim dim.json
run node key 0x1000 000102030405060708090a0b0c0d0e0f
await "$scratch/watch" 6
kill -INT "$watching"
status=0
wait "$watching" || status=$?
pids=("${pids[@]:1}")
echo '$ hevractl watch'
cat "$scratch/watch"
echo "(exit status $status)"

step "Wrong input is rejected before anything is sent"
echo '[{"id": 1}, {"id": 2, "value": {"type": "y", "value": 256}}]' >wrong.json
run send --group wrong wrong.json

step "The service has ended"
kill "${pids[0]}"
wait "${pids[0]}" || true
pids=("${pids[@]:1}")
run reset
