#!/usr/bin/env bash
# The main job on the simulated controller, as `./run demo` shows it: build
# vekctl, start from a clean simulated fleet in a temporary state file, list
# the fleet, flash one SCSI, one ATA and one deferred-flash drive with
# sample images, restart the array controller so that its agent runs the
# deferred request, and show the revisions, the request's status, its
# report and the flash journal. Leaves nothing behind.
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$(pwd)
BUILD=${VEK_BUILD_ROOT:-$ROOT/build}/x64

# The x64 tree as `./run build x64` configures it; only the two programs the
# demo runs are built.
if [ ! -f "$BUILD/build.ninja" ]; then
  echo "== configure $BUILD"
  cmake -S "$ROOT" -B "$BUILD" -G Ninja -DVEK_WERROR=ON >/dev/null
fi
echo "== build vekctl and vek-sim-image"
cmake --build "$BUILD" -j "${VEK_JOBS:-$(nproc)}" --target vekctl vek-sim-image >/dev/null

WORK=$(mktemp -d "${TMPDIR:-/tmp}/vek-demo.XXXXXX")
trap 'rm -rf "$WORK"' EXIT
export VEK_SIM_STATE=$WORK/sim-state.json
# The flash journal and the drives' locks stay in the temporary folder too.
export VEK_STATE_DIR=$WORK VEK_LOCK_DIR=$WORK/locks
VEKCTL=$BUILD/tools/vekctl
cd "$WORK"

run() {
  echo
  echo "\$ vekctl $*"
  "$VEKCTL" "$@"
}

echo "== simulated state: a temporary file"
run sim reset >/dev/null
"$BUILD/drivers/sim/vek-sim-image" --samples "$WORK" >/dev/null
run list
run flash KS-4000-0103.fw hba0:0 --yes
run flash ZQ-ATA-500-0211.fw array0:0 --yes
run flash ZQ-SAS-146-ZQ06.fw array0:2 --yes
run defer status array0:2
run sim restart array0
run defer status array0:2
run defer dump array0:2 --dir .
run ddff dump ZQ_ZQ-SAS-146_ZQS146C003_D.dat
run list
run history
