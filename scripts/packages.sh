# Debian packages, to be sourced: what building the library and its command-line host takes, and what
# the tests and checks take besides.
# shellcheck shell=bash disable=SC2034
build_packages=(g++ cmake ninja-build pkg-config libavcodec-dev libavformat-dev libavutil-dev
  libcli11-dev libdeflate-dev libfmt-dev libpng-dev libyaml-cpp-dev libzip-dev
  nlohmann-json3-dev)
# NumPy and ffmpeg make recordings that tests read, and read ours.
test_packages=(clang clang-format-16 clang-tidy libclang-rt-14-dev binutils libgtest-dev
  libbenchmark-dev locales git python3-numpy ffmpeg)
# What the benchmarks compare with, where it can be had.
bench_packages=(libopencv-dev libopencv-contrib-dev python3-opencv visp-images-data)
# What the checks beyond the tests take.
memcheck_packages=(valgrind)
coverage_packages=(gcovr)
