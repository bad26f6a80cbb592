# Debian packages, to be sourced: what building the library and its command-line host takes, and what
# the tests and checks take besides.
# shellcheck shell=bash disable=SC2034
build_packages=(g++ cmake ninja-build pkg-config libcli11-dev libfmt-dev nlohmann-json3-dev
  libpng-dev libdeflate-dev libyaml-cpp-dev libzip-dev         # pictures, camera_info files, .npz
  libmbedtls-dev                                               # the digest of pixels
  libbz2-dev liblz4-dev libzstd-dev zlib1g-dev                 # chunks of MCAP files and bags
  libavcodec-dev libavformat-dev libavutil-dev)                # Matroska
test_packages=(clang clang-format-16 clang-tidy libclang-rt-14-dev binutils libgtest-dev
  libbenchmark-dev locales git
  # Make recordings that tests read, and read ours.
  python3-numpy ffmpeg python3-rosbag python3-sensor-msgs)
# Node.js makes and reads MCAP files for the tests; where it comes from elsewhere, npm comes with it.
command -v npm >/dev/null || test_packages+=(nodejs npm)
# What the benchmarks compare with, where it can be had.
bench_packages=(libopencv-dev libopencv-contrib-dev python3-opencv visp-images-data)
# The Python package, its wheel and its tests.
python_packages=(pybind11-dev python3-dev python3-numpy python3-build python3-setuptools python3-wheel
  python3-venv)
python_test_packages=(python3-pytest python3-hypothesis mypy flake8 clang-tidy
  python3-distributed) # runs filter_processor.batch
# The elements of GStreamer; what the tests' pipelines are made of (PNG, FFV1, the window's mixer), and
# what looks for their leaks.
gstreamer_packages=(libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev)
gstreamer_test_packages=(libgtest-dev clang-tidy ffmpeg gstreamer1.0-tools gstreamer1.0-plugins-base
  gstreamer1.0-plugins-good gstreamer1.0-libav valgrind)
# Debian's packages and the archives; what looks at them, installs them in a fresh Debian and completes words there.
package_packages=(dpkg-dev file zip python3)
package_test_packages=(lintian debootstrap debian-archive-keyring binutils man-db zsh unzip)
# What the checks beyond the tests take.
memcheck_packages=(valgrind)
coverage_packages=(gcovr)
# What building for other platforms and running there takes: `scripts/test.sh platforms`.
cross_packages=(g++-mingw-w64-x86-64-posix g++-aarch64-linux-gnu emscripten # compilers
  wine64 qemu-user                                                          # what runs their programs
  clang-tidy                                                                # what is for Windows alone
  googletest dpkg-dev xz-utils make debian-archive-keyring)                 # sources to build for them
# The browser's playground: its module is compiled from the headers of the libraries that gxfilter uses;
# its page is built by Node.js and tried in a browser.
playground_packages=(emscripten cmake ninja-build libcli11-dev libfmt-dev nlohmann-json3-dev
  dpkg-dev xz-utils debian-archive-keyring) # sources of what is more than headers
playground_test_packages=(chromium)
command -v npm >/dev/null || playground_packages+=(nodejs npm)
# Emscripten runs what it makes in Node.js.
command -v node >/dev/null || cross_packages+=(nodejs)
