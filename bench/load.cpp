// Loads the plug-in once, in a process that has not opened Python yet, and prints the seconds.

#include <chrono>
#include <cstdio>
#include <exception>

#include "host/runtime/runtime.h"

int main(int, char **arguments) {
  try {
    const auto start = std::chrono::steady_clock::now();
    host::load(arguments[1]);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    std::printf("%.9f\n", taken.count());
  } catch (const std::exception &error) {
    std::fprintf(stderr, "quillix-bench-load: %s\n", error.what());
    return 1;
  }
}
