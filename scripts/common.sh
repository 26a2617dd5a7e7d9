# Shared by the scripts, which source it: works from the project's root, whatever folder a script was called from.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

jobs=$(nproc)

say() { printf '\n== %s\n' "$*"; }

# Configures a preset where that is still to be done. Ninja sees every later change but one to the presets themselves.
configure() { # preset
  local folder=build/$1
  if [[ ! -f $folder/build.ninja || CMakePresets.json -nt $folder/build.ninja ]]; then
    cmake --preset "$1"
  fi
}

build() { # preset, further arguments of the build
  local preset=$1
  shift
  configure "$preset"
  cmake --build --preset "$preset" --parallel "$jobs" "$@"
}
