#!/usr/bin/env bash
# varno-slurm on a real Slurm: munge, slurmctld and slurmd are started here from a
# configuration generated into a temporary folder (one node with this machine's CPUs, no
# cgroups) and stopped at the end, whatever happens.
#   1. 48 frames of the demo chart with grain, in chunks of 12; one task is cancelled part-way,
#      and --wait reports the frames it did not write.
#   2. The same command with --skip-existing submits only those; the sequence is then complete,
#      every frame matches one local varno-render run bit for bit, and the frames written the
#      first time were not written again.
#   3. Retries: a task that fails once is requeued and succeeds, one that exits 2 is not
#      requeued, one that keeps failing stops after --retries.
# Usage: slurm-test.sh VARNO_RENDER VARNO_SLURM   (as root: slurmd runs jobs as their user)
set -uo pipefail
render=$(realpath "$1") farm=$(realpath "$2")
export PATH=$PATH:/usr/sbin:/sbin VARNO_SLURM_POLL=1 VARNO_RENDER=$render
unset OFX_PLUGIN_PATH SLURM_CONF

fail() {
  echo "FAIL: $*" >&2
  exit 1
}
# Runs a check up to N times, 0.1 s apart, until it holds.
within() {
  local tries=$1
  shift
  until "$@"; do
    ((--tries > 0)) || return 1
    sleep 0.1
  done
}

missing=()
for need in munged:munge slurmctld:slurmctld slurmd:slurmd sbatch:slurm-client squeue:slurm-client \
  scancel:slurm-client scontrol:slurm-client sinfo:slurm-client oiiotool:openimageio-tools; do
  command -v "${need%%:*}" >/dev/null || missing+=("${need%%:*} (Debian package ${need#*:})")
done
[ ${#missing[@]} = 0 ] || fail "not installed: ${missing[*]}; scripts/setup-debian.sh installs them"
[ "$(id -u)" = 0 ] || fail "needs root: slurmd runs each job as the user who submitted it"

tmp=$(mktemp -d "${TMPDIR:-/tmp}/varno-slurm-test.XXXXXX") || fail "no temporary folder"
pids=() running=""

stop_everything() {
  local status=$? p k n
  # A varno-slurm still waiting, then the jobs, then the daemons.
  if [ -n "$running" ] && kill -TERM "$running" 2>/dev/null; then
    for ((n = 0; n < 30 && $(kill -0 "$running" 2>/dev/null && echo 1 || echo 0); ++n)); do sleep 0.1; done
    kill -KILL "$running" 2>/dev/null
  fi
  if [ -n "${SLURM_CONF:-}" ]; then
    mapfile -t jobs < <(squeue -h -o %A 2>/dev/null)
    [ ${#jobs[@]} = 0 ] || scancel --quiet "${jobs[@]}" 2>/dev/null
    for ((k = 0; k < 50; ++k)); do
      [ -z "$(squeue -h 2>/dev/null)" ] && break
      sleep 0.2
    done
  fi
  # slurmd and slurmctld, then munged: the daemons started here, last first.
  for ((k = ${#pids[@]} - 1; k >= 0; --k)); do
    kill -TERM "${pids[k]}" 2>/dev/null
    for ((n = 0; n < 50 && $(kill -0 "${pids[k]}" 2>/dev/null && echo 1 || echo 0); ++n)); do sleep 0.1; done
    kill -KILL "${pids[k]}" 2>/dev/null
  done
  # Step daemons of jobs outlive slurmd; ours work in this folder.
  for p in /proc/[0-9]*; do
    case $(cat "$p/comm" 2>/dev/null) in slurm*) ;; *) continue ;; esac
    [[ $(readlink "$p/cwd") == "$tmp"* ]] && kill -KILL "${p#/proc/}" 2>/dev/null
  done
  if [ $status = 0 ]; then
    rm -rf "$tmp"
    echo "PASS"
  else
    for log in slurmctld.log slurmd.log; do
      echo "--- last lines of $log" >&2
      tail -n 15 "$tmp/$log" >&2 2>/dev/null
    done
    echo "everything is kept in $tmp" >&2
  fi
  exit $status
}
trap stop_everything EXIT
trap 'exit 1' INT TERM

# Two free TCP ports for the daemons.
listening=$(awk '$4 == "0A" { split($2, a, ":"); print strtonum("0x" a[2]) }' /proc/net/tcp /proc/net/tcp6 2>/dev/null)
free_port() {
  local port
  while :; do
    port=$((20000 + RANDOM % 30000))
    grep -qx "$port" <<<"$listening" || { echo "$port"; return; }
  done
}
ctld_port=$(free_port)
slurmd_port=$(free_port)
[ "$slurmd_port" != "$ctld_port" ] || slurmd_port=$((ctld_port + 1))

cd "$tmp" || fail "cannot enter $tmp"
mkdir -p state spool work farm ref flaky
dd if=/dev/urandom of=munge.key bs=1024 count=1 status=none && chmod 400 munge.key
munged -F -f --key-file="$tmp/munge.key" --socket="$tmp/munge.socket" --pid-file="$tmp/munged.pid" \
  --log-file="$tmp/munged.log" --seed-file="$tmp/munged.seed" >munged.out 2>&1 &
pids+=($!)
cat >slurm.conf <<EOF
ClusterName=varnotest
SlurmctldHost=localhost(127.0.0.1)
SlurmctldPort=$ctld_port
SlurmdPort=$slurmd_port
SlurmUser=root
AuthType=auth/munge
# A requeued task waits for its old credential to expire: 5 s here, not 2 minutes.
AuthInfo=socket=$tmp/munge.socket,cred_expire=5
CredType=cred/munge
StateSaveLocation=$tmp/state
SlurmdSpoolDir=$tmp/spool
SlurmctldPidFile=$tmp/slurmctld.pid
SlurmdPidFile=$tmp/slurmd.pid
SlurmctldLogFile=$tmp/slurmctld.log
SlurmdLogFile=$tmp/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
JobCompType=jobcomp/none
SchedulerType=sched/builtin
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
MpiDefault=none
ReturnToService=2
KillWait=2
NodeName=varnonode NodeAddr=127.0.0.1 CPUs=$(nproc) State=UNKNOWN
PartitionName=varno Nodes=varnonode Default=YES MaxTime=INFINITE State=UP
EOF
# slurmd loads a cgroup plugin even when nothing uses it, and fails where no cgroup file
# system is mounted (a container or chroot): point it at an empty folder of ours.
mkdir -p cgroup
cat >cgroup.conf <<EOF
CgroupPlugin=cgroup/v1
CgroupMountpoint=$tmp/cgroup
CgroupAutomount=no
EOF
export SLURM_CONF=$tmp/slurm.conf
within 50 test -S munge.socket || fail "munged did not start: $(tail -n 3 munged.log 2>/dev/null)"
slurmctld -D -f "$SLURM_CONF" >slurmctld.out 2>&1 &
pids+=($!)
slurmd -D -N varnonode -f "$SLURM_CONF" >slurmd.out 2>&1 &
pids+=($!)
node_idle() { [ "$(sinfo -h -o %T 2>/dev/null)" = idle ]; }
within 300 node_idle || fail "the Slurm node did not come up: $(sinfo -h 2>&1)"

echo "[${SECONDS} s] Slurm is up"
# What the farm must match: one local run.
"$render" --quiet --demo --size 480x270 --set grana_on=1 --frames 1-48 ref/f.####.exr || fail "local render failed"

# Runs varno-slurm in the background (output in NAME.out and NAME.err), and waits for it.
start() {
  local name=$1
  shift
  began=$SECONDS
  (cd work && exec "$@" >"../$name.out" 2>"../$name.err") &
  running=$!
}
has_ended() { ! kill -0 "$running" 2>/dev/null; }
finish() {
  local name=$1
  within 1800 has_ended || fail "$name: varno-slurm still running after 3 minutes: $(cat "$name.err")"
  wait "$running"
  code=$?
  running=""
  echo "--- $name (exit $code, $((SECONDS - began)) s)"
  cat "$name.out" "$name.err"
}
says() { grep -qF -- "$2" "$1.err" || fail "$1: stderr lacks '$2'"; }
job_of() { head -n1 "$1.out"; }

chart=(--demo --size 480x270 --set grana_on=1)

echo "[${SECONDS} s] rendered locally"
# 1. Cancel task 1 (frames 13-24) once it has written a frame: it is stopped first, so that
# the cancel lands part-way whatever the machine's speed.
start first "$farm" --chunk 12 --wait -- "${chart[@]}" "$tmp/farm/f.####.exr" --frames 1-48
within 300 test -s first.out
job=$(job_of first)
[ -n "$job" ] || fail "no job id: $(cat first.err)"
task=""
find_task() {  # with builtins alone where it can: there are many processes to look at
  local p comm env
  for p in /proc/[0-9]*; do
    read -r comm 2>/dev/null <"$p/comm" && [ "$comm" = varno-render ] || continue
    env=$(tr '\0' '\n' <"$p/environ" 2>/dev/null)
    grep -qx "SLURM_ARRAY_JOB_ID=$job" <<<"$env" && grep -qx SLURM_ARRAY_TASK_ID=1 <<<"$env" && task=${p#/proc/}
  done
  [ -n "$task" ]
}
within 1200 find_task || fail "task 1 of job $job never ran varno-render"
chunk_done() {
  local n=0 f
  for f in farm/f.00{13..24}.exr; do [ -e "$f" ] && n=$((n + 1)); done
  echo "$n"
}
# No sleep between looks: a frame takes far longer than one look.
until [ -e farm/f.0013.exr ] || ((SECONDS > 600)); do :; done
kill -STOP "$task"
stopped() { [ "$(cut -d' ' -f3 "/proc/$task/stat" 2>/dev/null)" = T ]; }
within 100 stopped || fail "task 1 did not stop"
done_frames=$(chunk_done)
[ "$done_frames" -ge 1 ] && [ "$done_frames" -le 11 ] || fail "task 1 was stopped with $done_frames of its 12 frames written"
# scancel's signal reaches the task later, through slurmstepd: a TERM already waiting ends the
# task as soon as it resumes, before it can write another frame.
kill -TERM "$task"
scancel "${job}_1"
kill -CONT "$task"
finish first
[ "$code" = 1 ] || fail "first: --wait with frames missing should exit 1, not $code"
says first "job $job: 48 frames: $((36 + done_frames)) rendered, 0 skipped, $((12 - done_frames)) missing"
gap=$((13 + done_frames))-24
[ "$done_frames" = 11 ] && gap=24
says first "missing frames $gap;"
strays=$(find farm -mindepth 1 ! -regex 'farm/f\.[0-9][0-9][0-9][0-9]\.exr')
[ -z "$strays" ] || fail "the cancelled task left files behind: $strays"
stat -c '%n %i:%.9Y:%s' farm/* >written-once.txt

# 2. Resume: only the missing frames are submitted, and nothing written before is touched.
start again "$farm" --chunk 12 --wait -- "${chart[@]}" "$tmp/farm/f.####.exr" --frames 1-48 --skip-existing
finish again
[ "$code" = 0 ] || fail "again: exit $code"
says again "$((12 - done_frames)) of 48 frames ($tmp/farm/f.0001.exr to $tmp/farm/f.0048.exr) in 1 task of up to 12"
says again "job $(job_of again): 48 frames: $((12 - done_frames)) rendered, $((36 + done_frames)) skipped, 0 missing"
mapfile -t once < <(cut -d' ' -f1 written-once.txt)
stat -c '%n %i:%.9Y:%s' "${once[@]}" | cmp -s - written-once.txt ||
  fail "frames written by the first job were written again"
diffs=()
for ((f = 1; f <= 48; ++f)); do
  name=$(printf 'f.%04d.exr' "$f")
  diffs+=("farm/$name" "ref/$name" --diff)
done
oiiotool --fail 0 --warn 0 "${diffs[@]}" >diff.txt 2>&1 ||
  fail "the farm's frames differ from the local render: $(awk '/^Computing diff/ { d = $0 } /FAILURE/ { print d; exit }' diff.txt)"
echo "[${SECONDS} s] compared"
# 3. Retries, through a varno-render that fails the way a node might: task 0 fails its first
# attempt, task 1 is given a wrong command line, task 2 fails every time.
cat >flaky/varno-render <<EOF
#!/bin/bash
if [ -n "\${SLURM_ARRAY_TASK_ID:-}" ]; then
  echo "\$SLURM_ARRAY_TASK_ID" >>"$tmp/flaky/attempts"
  case \$SLURM_ARRAY_TASK_ID:\${SLURM_RESTART_COUNT:-0} in
    0:0 | 2:*) exit 1 ;;
    1:*) exit 2 ;;
  esac
fi
exec "$render" "\$@"
EOF
chmod +x flaky/varno-render
start retries env VARNO_RENDER="$tmp/flaky/varno-render" "$farm" --chunk 2 --retries 1 --wait -- \
  --demo --size 32x18 "$tmp/flaky/f.#.exr" --frames 1-6
finish retries
[ "$code" = 1 ] || fail "retries: exit $code"
[ "$(sort flaky/attempts | tr '\n' ' ')" = "0 0 1 2 2 " ] ||
  fail "retries: attempts by task were $(sort flaky/attempts | tr '\n' ' '), expected 0 0 1 2 2"
says retries "6 frames: 2 rendered, 0 skipped, 4 missing"
says retries "missing frames 3-6;"
[ -e flaky/f.1.exr ] && [ -e flaky/f.2.exr ] || fail "retries: the retried task's frames are missing"
exit 0
