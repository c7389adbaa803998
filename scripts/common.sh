# Shared by the scripts beside it: where the repository is, what it prints, how packages get here.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=$(nproc 2>/dev/null || echo 2)

say() {
  printf '\n== %s\n' "$*"
}

# Runs a command with the rights to install packages.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  else
    sudo "$@"
  fi
}

# need PACKAGE...: installs those Debian packages that are missing.
need() {
  if ! command -v apt-get >/dev/null; then
    say "no apt-get here: taking it that the counterparts of these are installed: $*"
    return
  fi
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed ||
      missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  say "installing ${missing[*]}"
  if [ -z "${packages_updated:-}" ]; then
    as_root apt-get -q -o DPkg::Lock::Timeout=300 update
    packages_updated=1
  fi
  as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o DPkg::Lock::Timeout=300 \
    install --no-install-recommends "${missing[@]}" </dev/null
}
