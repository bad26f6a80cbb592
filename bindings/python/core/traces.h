// What filters print of their parameters, which would end up between what a Python program prints.
#pragma once

namespace python {

/// From the first one on, what is printed to std::cout and std::cerr by a thread with a Quiet is
/// dropped; other threads, and the same thread otherwise, print as ever.
class Quiet {
 public:
  Quiet();
  ~Quiet();
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

 private:
  bool before_;
};

} // namespace python
