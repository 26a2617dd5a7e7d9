# Starts a private sound server in a temporary folder, which becomes the current one. Sourced by scripts that have called
# `set -euo pipefail`; the server, all other jobs and the folder go with the script. $server is the server's process.

folder=$(mktemp -d "${TMPDIR:-/tmp}/orvane-server.XXXXXX")
trap 'kill $(jobs -p) 2>/dev/null || true; wait 2>/dev/null || true; rm -rf "$folder"' EXIT
trap 'echo "$0: failed: $BASH_COMMAND (line $LINENO)" >&2' ERR
set -E
cd "$folder"
export XDG_RUNTIME_DIR=$folder PIPEWIRE_RUNTIME_DIR=$folder
export PIPEWIRE_DEBUG=1 # Errors only.
unset PIPEWIRE_REMOTE

# A stereo speaker, a stereo microphone, and a driver for everything else

device() { # name, class
  echo "{ factory=adapter args={ factory.name=support.null-audio-sink node.name=$1 media.class=$2 audio.channels=2
    audio.position=[ FL FR ] audio.rate=48000 object.linger=true monitor.channel-volumes=false
    adapter.auto-port-config={ mode=dsp monitor=true position=preserve } } }"
}

cat >server.conf <<END
context.properties = { core.daemon=true core.name=pipewire-0 support.dbus=false default.clock.rate=48000
  default.clock.quantum=256 mem.mlock-all=false mem.warn-mlock=false vm.overrides={ } }
context.spa-libs = { audio.convert.*=audioconvert/libspa-audioconvert support.*=support/libspa-support }
context.modules = [
  { name=libpipewire-module-rt flags=[ ifexists nofail ] }
  { name=libpipewire-module-protocol-native } { name=libpipewire-module-metadata }
  { name=libpipewire-module-spa-node-factory } { name=libpipewire-module-client-node }
  { name=libpipewire-module-access } { name=libpipewire-module-adapter } { name=libpipewire-module-link-factory }
  { name=libpipewire-module-session-manager } ]
context.objects = [
  { factory=spa-node-factory args={ factory.name=support.node.driver node.name=Driver node.group=pipewire.dummy
    priority.driver=20000 } }
  $(device tour.speaker Audio/Sink)
  $(device tour.microphone Audio/Source/Virtual) ]
END
setpriv --pdeathsig KILL pipewire -c "$folder/server.conf" &
server=$!

# ---- helpers

fail() {
  echo "$0: $*" >&2
  exit 1
}

await() { # command...: runs it until it succeeds, for at most ten seconds
  local try
  for try in {1..200}; do
    "$@" >/dev/null 2>&1 && return
    sleep 0.05
  done
  fail "not within ten seconds: $*"
}

has_line() { grep -qe "$2" "$1"; } # file, pattern

# Reads its input to the end: a program that prints to a closed pipe would fail.
has_port() { pw-link -io | grep -xF "$1" >/dev/null; }

await timeout 2 pw-cli info 0
