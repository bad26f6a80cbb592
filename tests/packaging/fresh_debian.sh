#!/usr/bin/env bash
# fresh_debian.sh DIRECTORY PACKAGES | --possible
# Makes a fresh Debian 12 in the directory, installs the packages there as a user would, uses everything that they
# bring, and removes them, after which nothing of them may be left. With --possible: whether this user may do that.
set -euo pipefail
if [ "$1" = --possible ]; then
  [ "$(id -u)" = 0 ] && unshare --mount --pid --fork true 2>/dev/null && {
    place=$(mktemp -d)
    trap 'rm -rf "$place"' EXIT
    # Some containers' root may make no devices or mount nothing, and some folders for temporary files run no programs.
    mknod "$place/null" c 1 3 2>/dev/null && : >"$place/null" && cp /bin/true "$place" && "$place/true" 2>/dev/null &&
      mkdir "$place/proc" && mount -t proc proc "$place/proc" 2>/dev/null && umount "$place/proc"
  }
  exit
fi
system=$1 packages=$2
sources=$(cd "$(dirname "$0")/../.." && pwd)
say() { echo "-- $* (after $SECONDS s)"; }
fail() { echo "FAILED: $*" >&2 && exit 1; }
# The way to the mirror, where that leads through another machine.
proxies=()
for name in http_proxy https_proxy no_proxy; do [ -z "${!name:-}" ] || proxies+=("$name=${!name}"); done
inside() { chroot "$system" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
  DEBIAN_FRONTEND=noninteractive "${proxies[@]}" "$@"; }

say "The system"
# The mirror that this machine uses.
# shellcheck disable=SC2016 # apt fills that in
mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Identifier: Packages' 'Origin: Debian' 'Codename: bookworm' |
  sed -n 1p)
debootstrap --variant=minbase bookworm "$system" "${mirror:-http://deb.debian.org/debian}" >"$system.log" 2>&1 ||
  { tail "$system.log" >&2 && fail "debootstrap"; }
mount -t proc proc "$system/proc"
trap 'umount "$system/proc"' EXIT
# Nobody needs this system after a crash of the machine.
echo force-unsafe-io >"$system/etc/dpkg/dpkg.cfg.d/unsafe-io"
# minbase leaves no manual pages out, but images for containers do.
tools=(g++ pkg-config cmake ninja-build man-db bash-completion gstreamer1.0-tools gstreamer1.0-plugins-base)
inside apt-get install -y -qq --no-install-recommends "${tools[@]}" >>"$system.log" 2>&1 ||
  { tail "$system.log" >&2 && fail "the system's tools"; }
mkdir "$system/root/packages"
cp "$packages"/*.deb "$system/root/packages"
names=$(for package in "$packages"/*.deb; do dpkg-deb -f "$package" Package; done)
# What apt brings with them comes first: other packages' leftovers are not theirs.
needed=$(inside sh -c 'apt-get install -s -qq /root/packages/*.deb' | sed -n 's/^Inst \([^ ]*\).*/\1/p' |
  grep -vxF "$names")
# shellcheck disable=SC2086 # the names are words
inside apt-get install -y -qq --no-install-recommends $needed >>"$system.log" 2>&1 ||
  { tail "$system.log" >&2 && fail "what the packages need"; }
# What changes whatever is installed and removed again is left out.
files() {
  (cd "$system" && find . -xdev \( -path ./proc -o -path ./tmp -o -path ./var/cache -o -path ./var/log \
    -o -path ./var/lib/apt -o -path ./var/lib/dpkg -o -path ./root \) -prune -o -print | sort)
}
files >"$system.before"

say "Installed"
inside sh -c 'apt-get install -y -qq /root/packages/*.deb' >>"$system.log" 2>&1 ||
  { tail "$system.log" >&2 && fail "apt install"; }

say "gxfilter"
inside gxfilter --version
inside gxfilter selftest | tail -n 1
# The demo's two chains.
# shellcheck disable=SC2016 # the shell inside does
inside sh -ec 'cd /root
  gxfilter synth --frames 5 --size 320x240 --seed 1 --out scene >/dev/null
  gxfilter run --preset small_holes --preview scene --out depth
  gxfilter synth --pixel-type disparity --frames 5 --size 320x240 --seed 2 --out disparity >/dev/null
  gxfilter run --filter DisparityTransform --preview disparity --out converted
  test "$(ls depth/*.png converted/*.png depth/previews/*.png converted/previews/*.png | wc -l)" = 20'
for page in gxfilter gxfilter-run; do
  shown=$(inside man "$page")
  grep -q '^EXIT STATUS' <<<"$shown" || fail "man $page shows $shown"
done
# shellcheck disable=SC2016
completed=$(inside bash -c '. /usr/share/bash-completion/bash_completion; _completion_loader gxfilter
  COMP_WORDS=(gxfilter run --preset ro) COMP_CWORD=3 COMP_TYPE=9; _gxfilter; echo "${COMPREPLY[*]}"')
[ "$completed" = robot ] || fail "completion gives '$completed'"

say "Hosts in C and in C++"
cp "$sources"/examples/* "$system/root/"
# shellcheck disable=SC2016
inside sh -ec 'cd /root
  gcc -std=c11 -Wall -Werror minimal_host.c -o by_pkg_config $(pkg-config --cflags --libs filter_processor)
  g++ -std=c++17 -Wall -Werror minimal_host.cpp -o cpp_by_pkg_config $(pkg-config --cflags --libs filter_processor)
  gcc -std=c11 -static minimal_host.c -o archives $(pkg-config --static --cflags --libs filter_processor)
  echo "add_executable(from_archives minimal_host.c)" >>CMakeLists.txt
  echo "add_executable(cpp_from_archives minimal_host.cpp)" >>CMakeLists.txt
  for host in from_archives cpp_from_archives; do
    echo "target_link_libraries($host PRIVATE FilterProcessor::FilterProcessor_static)" >>CMakeLists.txt
  done
  cmake -G Ninja -S . -B build >/dev/null && cmake --build build >/dev/null
  if ldd build/*from_archives | grep -E "FilterProcessor|GextonSDK"; then exit 1; fi
  ./by_pkg_config >expected && grep -q "^after: " expected
  for host in cpp_by_pkg_config archives build/minimal_host build/minimal_cpp_host build/from_archives \
    build/cpp_from_archives; do
    ./$host | cmp - expected
  done'

say "GStreamer and Python"
shown=$(inside gst-inspect-1.0 depthchain)
grep -q '^  preset ' <<<"$shown" || fail "gst-inspect-1.0 shows $shown"
inside sh -ec 'gst-launch-1.0 -q videotestsrc num-buffers=3 ! video/x-raw,format=GRAY16_LE,width=64,height=48 \
  ! depthchain preset=robot ! depthcolorize ! fakesink'
inside /usr/bin/python3 -c '
import importlib.metadata, numpy, filter_processor as fp
depth = numpy.full((48, 64), 900, numpy.uint16)
depth[20, 20] = 0
filled = fp.HoleFillingFilter(hole_filling_mode="nearest")(depth)
assert filled[20, 20] == 900 and depth[20, 20] == 0
assert "robot" in fp.presets()
assert importlib.metadata.version("filter_processor") == fp.__version__
print("filter_processor", fp.__version__)'

say "Removed"
# shellcheck disable=SC2086
inside apt-get purge -y -qq $names >>"$system.log" 2>&1 ||
  { tail "$system.log" >&2 && fail "apt purge"; }
files >"$system.after"
left=$(comm -13 "$system.before" "$system.after")
[ -z "$left" ] || fail "left behind: $left"
if inside dpkg-query -l | grep -E "$(paste -sd '|' <<<"$names")"; then fail "still known to dpkg"; fi
