// Plays the files that it is given, one after the other.

#include "fuzz/player.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

int main(int argc, char **argv) {
  player::prepare();
  for (int i = 1; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    player::play(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size());
  }
  std::printf("%d played\n", argc - 1);
}
