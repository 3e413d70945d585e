# Sourced: a new Debian 12 in a folder, with nothing but apt, from the package sources of this machine.

# make_clean_root FOLDER: 2 when this machine cannot make one, which is said.
make_clean_root() {
  local folder=$1 log file sources=() status=0
  log=$(mktemp)
  for file in /etc/apt/sources.list /etc/apt/sources.list.d/debian.sources; do
    [ ! -s "$file" ] || sources+=("$file")
  done
  # This machine's own settings, such as a proxy.
  apt-config dump | grep '^Acquire::' >"$log.conf" || true
  as_root mmdebstrap --quiet --variant=apt --mode=root --skip=cleanup/apt/lists --aptopt="$log.conf" bookworm "$folder" \
    "${sources[@]}" >"$log" 2>&1 || status=2
  [ $status = 0 ] || echo "skipped: no new Debian could be made: $(tail -n 1 "$log")"
  rm -f "$log" "$log.conf"
  return $status
}

# in_clean_root FOLDER COMMAND: runs the command in a shell there.
in_clean_root() {
  as_root chroot "$1" env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive \
    bash -euc "$2" </dev/null
}
