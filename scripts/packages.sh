# Debian packages, to be sourced: what building the library and its command-line host takes, and what
# the tests and checks take besides.
# shellcheck shell=bash disable=SC2034
build_packages=(g++ cmake ninja-build pkg-config libcli11-dev libfmt-dev libpng-dev
  libyaml-cpp-dev nlohmann-json3-dev
  libbz2-dev liblz4-dev libzstd-dev zlib1g-dev) # chunks of MCAP files and bags
test_packages=(clang clang-format-16 clang-tidy libclang-rt-14-dev binutils libgtest-dev
  libbenchmark-dev locales git
  python3-rosbag python3-sensor-msgs) # bags of another implementation
# Node.js makes and reads MCAP files for the tests; where it comes from elsewhere, npm comes with it.
command -v npm >/dev/null || test_packages+=(nodejs npm)
# What the benchmarks compare with, where it can be had.
bench_packages=(libopencv-dev libopencv-contrib-dev visp-images-data)
# What the checks beyond the tests take.
memcheck_packages=(valgrind)
coverage_packages=(gcovr)
