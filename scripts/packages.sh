# Debian packages, to be sourced: what building the library and its command-line host takes, and what
# the tests and checks take besides.
# shellcheck shell=bash disable=SC2034
build_packages=(g++ cmake ninja-build pkg-config libcli11-dev libfmt-dev nlohmann-json3-dev
  libpng-dev libdeflate-dev libyaml-cpp-dev libzip-dev         # pictures, camera_info files, .npz
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
# What the checks beyond the tests take.
memcheck_packages=(valgrind)
coverage_packages=(gcovr)
# What building for other platforms and running there takes: `scripts/test.sh platforms`.
cross_packages=(g++-mingw-w64-x86-64-posix g++-aarch64-linux-gnu emscripten # compilers
  wine64 qemu-user                                                          # what runs their programs
  clang-tidy                                                                # what is for Windows alone
  googletest dpkg-dev xz-utils make debian-archive-keyring)                 # sources to build for them
# Emscripten runs what it makes in Node.js.
command -v node >/dev/null || cross_packages+=(nodejs)
