// The fuzzer's entry, for libFuzzer. Without it a program that plays files, for every compiler.

#include "tests/fuzz/player.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  player::prepare();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t count) {
  player::play(bytes, count);
  return 0;
}
