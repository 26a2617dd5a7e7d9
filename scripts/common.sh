# Common functions, sourced by the other scripts. Changes to the project's root folder.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

jobs=$(nproc)

say() { printf '\n== %s\n' "$*"; }

# Configures a preset if this was not done yet. Later changes are detected by Ninja, except changes of the presets.
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
