# Fetching packages of a Debian release for any architecture, without root rights and without touching
# the system's lists. For scripts that set
#
#   suite   the release        arch   the architecture
#   what    what is fetched, for messages
#   state   a folder for apt's state; packages come to $state/debs
#
# and have a function die, which says why and ends. Signatures are always checked.

keyring=/usr/share/keyrings/debian-archive-keyring.gpg

# The archives that apt uses here, in its order. A security archive has no full release.
mirrors() {
  if [[ -n ${QUILLIX_DEBIAN_MIRROR:-} ]]; then
    echo "${QUILLIX_DEBIAN_MIRROR%/}"
  else
    apt-get update --print-uris 2>/dev/null |
      sed -nE "s|^'([^']*[^/'])/+dists/.*|\1|p" | grep -v -e '-security$' -e '^cdrom:' |
      awk '!seen[$0]++' || true
  fi
}

# A state of apt's own in $state, so that neither root rights nor the system's lists are touched.
# Signatures are always checked.
write_apt_conf() {
  mkdir -p "$state"/{lists,cache,etc,debs}
  : >"$state/status"
  cat >"$state/apt.conf" <<CONF
#clear APT::Architectures;
#clear APT::Update;
#clear DPkg;
APT::Architecture "$arch";
APT::Architectures { "$arch"; };
APT::Get::AllowUnauthenticated "false";
APT::Update::Error-Mode "any";
APT::Sandbox::User "$(id -un)";
Acquire::AllowInsecureRepositories "false";
Acquire::AllowDowngradeToInsecureRepositories "false";
Acquire::Languages "none";
Acquire::Retries "3";
Dir::Etc::SourceList "$state/etc/sources.list";
Dir::Etc::SourceParts "/dev/null";
Dir::Etc::Preferences "/dev/null";
Dir::Etc::PreferencesParts "/dev/null";
Dir::State "$state";
Dir::State::Lists "$state/lists";
Dir::State::Status "$state/status";
Dir::Cache "$state/cache";
CONF
}

# download MIRROR PACKAGE...
download() {
  echo "deb [arch=$arch signed-by=$keyring] $1 $suite main" >"$state/etc/sources.list"
  apt-get -c "$state/apt.conf" -q update &&
    (cd "$state/debs" && apt-get -c "$state/apt.conf" -q download "${@:2}")
}

# download_source MIRROR PACKAGE
download_source() {
  echo "deb-src [signed-by=$keyring] $1 $suite main" >"$state/etc/sources.list"
  apt-get -c "$state/apt.conf" -q update &&
    (cd "$state/debs" && apt-get -c "$state/apt.conf" -q source --download-only "$2")
}

# from_a_mirror DOWNLOAD PACKAGE...: into $state/debs, from the first mirror that has them.
from_a_mirror() {
  command -v apt-get >/dev/null ||
    die "the system has no $what and no apt-get to fetch it with; for Python, set" \
      'QUILLIX_PYTHON_ROOT to a folder that holds it (usr/include/python2.7, usr/lib)'
  [[ -e $keyring ]] || die "$keyring is missing; install the package debian-archive-keyring"
  write_apt_conf

  local mirror tried=no
  while read -r mirror; do
    tried=yes
    if "$1" "$mirror" "${@:2}" >"$state/log" 2>&1 </dev/null; then return; fi
    grep -E '^(E|W|Err)' "$state/log" | head -n 6 | sed 's/^/python27:   /' >&2 || true
  done < <(mirrors)
  [[ $tried = yes ]] || say 'apt knows no archive here'
  die "cannot fetch the packages; set QUILLIX_DEBIAN_MIRROR to a Debian mirror that has $suite"
}
