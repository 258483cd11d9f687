#!/usr/bin/env bash
# Runs every stress variant that ctest registers (label "stress") with N seeds of the runtime's
# stress mode, seeds 1 to N (default 100), on a configured and built tree (default build/release):
#
#   scripts/stress-seeds.sh [N] [build-dir]
#
# ctest runs the seeds of VRT_STRESS_SEEDS only; a dependency that goes missing under one
# ordering in many shows up here. Each failing run leaves its output in the build tree.
set -euo pipefail
cd "$(dirname "$0")/.."
count=${1:-100}
build=${2:-build/release}
logs="$build/stress-seeds"
mkdir -p "$logs"

# One line per stress variant (the variant of the first seed): name, working directory and
# environment without the seed, then the command, separated by tabs.
mapfile -t variants < <(ctest --test-dir "$build" -L stress --show-only=json-v1 | /usr/bin/python3 -c '
import json, sys
seen = set()
for test in json.load(sys.stdin)["tests"]:
    name = test["name"].rsplit(".seed", 1)[0]
    if name in seen:
        continue
    seen.add(name)
    props = {p["name"]: p["value"] for p in test.get("properties", [])}
    env = [e for e in props.get("ENVIRONMENT", []) if not e.startswith("HOSTSYCL_STRESS=")]
    print("\t".join([name, props.get("WORKING_DIRECTORY", "."), " ".join(env)] + test["command"]))
')
if [ ${#variants[@]} -eq 0 ]; then
  echo "no stress variants in $build (configure and build it first)" >&2
  exit 2
fi

echo "${#variants[@]} stress variants, seeds 1 to $count"
failures=0
start=$SECONDS
for seed in $(seq 1 "$count"); do
  for line in "${variants[@]}"; do
    IFS=$'\t' read -r -a fields <<< "$line"
    name=${fields[0]} dir=${fields[1]} env=${fields[2]}
    log="$logs/$name.seed$seed.log"
    # shellcheck disable=SC2086 # the environment is a list of VAR=value words
    if (cd "$dir" && env $env HOSTSYCL_STRESS="$seed" "${fields[@]:3}") > "$log" 2>&1; then
      rm -f "$log"
    else
      echo "FAIL $name seed $seed (output in $log)"
      failures=$((failures + 1))
    fi
  done
done
echo "$((count * ${#variants[@]})) runs, $failures failed, $((SECONDS - start)) s"
[ "$failures" -eq 0 ]
