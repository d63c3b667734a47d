# Shared by the scripts beside it: another processor's libraries in a folder, and building with them.
# shellcheck shell=bash

# unpack_sysroot ARCHITECTURE FOLDER PACKAGES...: what the Debian packages and those they depend on hold, for that
# processor. They are unpacked and never installed: many cannot be installed for two processors at once. The package
# manager keeps its lists in the folder, too, so that the system's own settings stay as they are.
unpack_sysroot() {
  local architecture=$1 folder=$2 state=$2.apt link archive
  shift 2
  if [ "$(cat "$folder/packages" 2>/dev/null)" = "$*" ]; then return 0; fi
  rm -rf "$folder" "$state"
  mkdir -p "$folder" "$state/lists/partial" "$state/archives/partial"
  touch "$state/status"
  local apt=(apt-get -qq -o "APT::Architecture=$architecture" -o "APT::Architectures=$architecture"
             -o "Dir::State::status=$state/status" -o "Dir::State::lists=$state/lists"
             -o "Dir::Cache::archives=$state/archives" -o "Dir::Cache::pkgcache=" -o "Dir::Cache::srcpkgcache="
             -o APT::Sandbox::User=root)
  "${apt[@]}" update >/dev/null 2>&1 || return 1
  "${apt[@]}" install -y --no-install-recommends --download-only "$@" >/dev/null || return 1
  for archive in "$state"/archives/*.deb; do dpkg -x "$archive" "$folder" || return 1; done
  rm -rf "$state"
  cp -a "$folder/lib/." "$folder/usr/lib/" && rm -rf "$folder/lib" && ln -s usr/lib "$folder/lib"
  find "$folder" -type l -lname '/*' | while read -r link; do
    ln -sfn "$(realpath -m --relative-to="$(dirname "$link")" "$folder$(readlink "$link")")" "$link"
  done
  printf '%s' "$*" >"$folder/packages"
}
